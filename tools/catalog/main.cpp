// tintera-catalog: makes the demo catalog the emulators serve, and shows what a CxF3 file holds.
//
//   tintera-catalog write DIR [--edition N]      index.json and files/ for edition N (default 1)
//   tintera-catalog fandeck FILE [--colours N]   one fandeck of N colours (default 2000), all spectral
//   tintera-catalog inspect FILE                 colours of a CxF3 or CGATS file as TSV, then the
//                                                custom resources

#include "Catalog.h"
#include "CatalogInspector.h"

#include <QCoreApplication>
#include <QStringList>
#include <QTextStream>

namespace {

const char *const kUsage = "usage: tintera-catalog write DIR [--edition N]\n"
                           "       tintera-catalog fandeck FILE [--colours N]\n"
                           "       tintera-catalog inspect FILE.cxf|FILE.cie\n";

int usage(QTextStream &err)
{
    err << kUsage;
    return 2;
}

// Reads "--name N" from the arguments after the operand; false when malformed.
bool positiveOption(const QStringList &arguments, const QString &name, int *value)
{
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        if (arguments[i] != name)
            return false;
        if (i + 1 >= arguments.size())
            return false;
        bool ok = false;
        *value = arguments[i + 1].toInt(&ok);
        if (!ok || *value < 1)
            return false;
        ++i;
    }
    return true;
}

int report(QTextStream &err, const VLError &error)
{
    err << "tintera-catalog: " << error.localizedDescription() << '\n';
    return 1;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QTextStream out(stdout);
    QTextStream err(stderr);
    const QStringList arguments = application.arguments().mid(1);
    // Asked for help anywhere, the program prints it and touches nothing: "write --help" is no folder.
    if (arguments.contains(QLatin1String("--help")) || arguments.contains(QLatin1String("-h"))) {
        out << kUsage;
        return 0;
    }
    if (arguments.size() < 2 || arguments[1].startsWith(QLatin1Char('-')))
        return usage(err);
    const QString command = arguments[0];
    const QString operand = arguments[1];
    const QStringList options = arguments.mid(2);
    VLError error;

    if (command == QLatin1String("write")) {
        int edition = 1;
        if (!positiveOption(options, QStringLiteral("--edition"), &edition))
            return usage(err);
        return writeCatalog(operand, edition, &error) ? 0 : report(err, error);
    }
    if (command == QLatin1String("fandeck")) {
        int colours = 2000;
        if (!positiveOption(options, QStringLiteral("--colours"), &colours))
            return usage(err);
        return writeLargeFandeck(operand, colours, &error) ? 0 : report(err, error);
    }
    if (command == QLatin1String("inspect") && options.isEmpty()) {
        const bool ok = inspectColorDocument(operand, out, &error);
        out.flush();
        return ok ? 0 : report(err, error);
    }
    return usage(err);
}
