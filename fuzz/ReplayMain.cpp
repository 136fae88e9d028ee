// tintera-fuzz-replay TARGET PATH...: runs every file named, and every file in every folder named,
// through a fuzz target built with the ordinary compiler. `make test` replays the regression corpus
// with it, so that an input that once broke a parser is tried again by every build.

#include "FuzzSupport.h"
#include "TinteraFuzzTargets.h"

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include <algorithm>
#include <cstdio>

int main(int argc, char **argv)
{
    const TinteraFuzzTarget *target = argc >= 3 ? tinteraFuzzTargetNamed(argv[1]) : nullptr;
    if (!target) {
        std::fprintf(stderr, "usage: tintera-fuzz-replay TARGET FILE-OR-FOLDER...\ntargets:");
        for (const TinteraFuzzTarget *each = tinteraFuzzTargets(); each->name; ++each)
            std::fprintf(stderr, " %s", each->name);
        std::fprintf(stderr, "\n");
        return 2;
    }
    tinteraFuzzSetUp();
    QStringList inputs;
    for (int i = 2; i < argc; ++i) {
        const QString path = QFile::decodeName(argv[i]);
        if (QFileInfo(path).isDir()) {
            QDirIterator files(path, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
            while (files.hasNext())
                inputs << files.next();
        } else if (QFileInfo(path).isFile()) {
            inputs << path;
        } else {
            std::fprintf(stderr, "tintera-fuzz-replay: %s: no such file or folder\n", argv[i]);
            return 2;
        }
    }
    std::sort(inputs.begin(), inputs.end());
    for (const QString &input : std::as_const(inputs)) {
        QFile file(input);
        if (!file.open(QIODevice::ReadOnly)) {
            std::fprintf(stderr, "tintera-fuzz-replay: %s: cannot be read\n", qPrintable(input));
            return 2;
        }
        const QByteArray bytes = file.readAll();
        // Named before it runs: a crash then says which input it was.
        std::fprintf(stderr, "%s\n", qPrintable(input));
        target->function(reinterpret_cast<const uint8_t *>(bytes.constData()), size_t(bytes.size()));
    }
    std::printf("tintera-fuzz-replay: %lld input(s) through %s\n", static_cast<long long>(inputs.size()), target->name);
    return 0;
}
