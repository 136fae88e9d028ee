// A download's work folder as an earlier run, a killed process or another program left it: its
// "resume.plist" (the first two bytes give its length) and its "resumeData" (the rest). Whatever
// they say, the download never names a file outside its folder.

#include "FuzzSupport.h"
#include "TinteraFuzzTargets.h"
#include "VLFileDownload.h"
#include "VLPathComponent.h"
#include "VLPropertyList.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QUrl>

#include <algorithm>

namespace {

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(bytes);
}

} // namespace

int tinteraFuzzResumePackage(const uint8_t *data, size_t size)
{
    tinteraFuzzSetUp();
    if (size < 2)
        return 0;
    static QTemporaryDir folder;
    const size_t plistLength = std::min<size_t>(size - 2, size_t(data[0]) << 8 | data[1]);
    const QString package = QDir(folder.path()).filePath(QStringLiteral("payload.vldownload"));
    QDir().mkpath(package);
    writeFile(QDir(package).filePath(QLatin1String(VLFileDownload::kResumePlistName)),
              tinteraFuzzBytes(data + 2, plistLength));
    const QByteArray token = tinteraFuzzBytes(data + 2 + plistLength, size - 2 - plistLength);
    writeFile(QDir(package).filePath(QLatin1String(VLFileDownload::kResumeDataName)), token);

    const VLFileDownloadPtr download = VLFileDownload::initWithResumePackageFilename(package);
    TINTERA_FUZZ_CHECK(download->destinationFolder() == QDir(folder.path()).absolutePath(),
                       "a resumed download lands beside its work folder");
    TINTERA_FUZZ_CHECK(download->suggestedFilename().isEmpty() || vlIsPlainPathComponent(download->suggestedFilename()),
                       "a resumed download names one plain file");
    TINTERA_FUZZ_CHECK(download->URL().isEmpty(), "a resumed download has no URL of its own");

    // The token as a resumed transfer reads it.
    const QVariantMap fields = VLPropertyList::fromData(token).toMap();
    const QUrl url(fields.value(QStringLiteral("URL")).toString());
    (void)url.isValid();
    (void)fields.value(QStringLiteral("ETag")).toString().toLatin1();
    tinteraFuzzDrainEvents();
    return 0;
}
