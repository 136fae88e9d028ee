#include "VLFileTrust.h"

#include "VLDataFolder.h"
#include "VLFileDigest.h"
#include "VLSyncFileInfo.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

const QString VLFileTrustErrorDomain = QStringLiteral("VLFileTrustDomain");

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VLFileTrust", text);
}

VLError trustError(VLFileTrustErrorCode code, const QString &text)
{
    return VLError(VLFileTrustErrorDomain, code, text);
}

// "Velmora Interiors 1.1", or the SKU when the record has no description.
QString fileName(const VLSyncFileInfo &file)
{
    const QString name = file.fileDescription().isEmpty() ? file.SKU() : file.fileDescription();
    return file.versionString().isEmpty() ? name : name + QLatin1Char(' ') + file.versionString();
}

QString recordChecksum(const VLSyncFileInfo &file)
{
    return file.info().value(VLSyncFileInfoSHA256).toString().trimmed();
}

} // namespace

VLFileTrust::VLFileTrust(VLTrustedKeys keys, bool requireSigned)
    : m_keys(std::move(keys))
    , m_requireSigned(requireSigned)
{
}

VLFileTrust VLFileTrust::load(bool requireSigned)
{
    return VLFileTrust(VLTrustedKeys::fromFolders(trustedKeyFolders()), requireSigned);
}

QStringList VLFileTrust::trustedKeyFolders()
{
    QString shipped = qEnvironmentVariable("TINTERA_TRUSTED_KEYS");
    if (shipped.isEmpty()) {
        // <prefix>/bin/tintera -> <prefix>/share/tintera-sync/keys
        shipped = QDir::cleanPath(QCoreApplication::applicationDirPath()
                                  + QStringLiteral("/../share/tintera-sync/keys"));
    }
    return {shipped, vlApplicationDataFolder() + QStringLiteral("/Trusted Keys")};
}

VLError VLFileTrust::checkRecord(const VLSyncFileInfo &file) const
{
    const QString checksum = recordChecksum(file);
    const QByteArray signature = file.info().value(VLSyncFileInfoSignature).toString().toLatin1();
    if (!checksum.isEmpty() && !vlIsSha256Hex(checksum))
        return trustError(VLFileTrustErrorMalformedRecord,
                          tr("The service's checksum of %1 is not a SHA-256: the file was not downloaded.")
                              .arg(fileName(file)));
    if (signature.isEmpty()) {
        if (m_requireSigned)
            return trustError(VLFileTrustErrorUnsigned,
                              tr("The service did not sign %1, and only signed files are accepted: the file was "
                                 "not downloaded.")
                                  .arg(fileName(file)));
        return {};
    }
    // The signature vouches for the bytes through the checksum: without one it vouches for nothing.
    if (checksum.isEmpty())
        return trustError(VLFileTrustErrorMalformedRecord,
                          tr("The service signed %1 without a checksum: the file was not downloaded.")
                              .arg(fileName(file)));
    if (!m_keys.verify(vlFileRecordSigningText(file.info()), signature))
        return trustError(VLFileTrustErrorSignatureRefused,
                          tr("The signature of %1 does not verify against any trusted key (%2 known): the file "
                             "was not downloaded.")
                              .arg(fileName(file))
                              .arg(m_keys.count()));
    return {};
}

VLError VLFileTrust::checkPayload(const VLSyncFileInfo &file, const QString &path) const
{
    const QFileInfo payload(path);
    if (!payload.isFile())
        return trustError(VLFileTrustErrorUnreadable, tr("The file of %1 is missing.").arg(fileName(file)));
    if (file.byteLength() >= 0 && payload.size() != file.byteLength())
        return trustError(VLFileTrustErrorChecksumMismatch,
                          tr("The file of %1 has %2 bytes where the service published %3.")
                              .arg(fileName(file))
                              .arg(payload.size())
                              .arg(file.byteLength()));
    const QString checksum = recordChecksum(file);
    if (checksum.isEmpty())
        return {};
    QString readError;
    const QByteArray actual = vlSha256HexOfFile(path, &readError);
    if (actual.isEmpty())
        return trustError(VLFileTrustErrorUnreadable,
                          tr("The file of %1 cannot be read to be checked: %2").arg(fileName(file), readError));
    if (QString::fromLatin1(actual).compare(checksum, Qt::CaseInsensitive) != 0)
        return trustError(VLFileTrustErrorChecksumMismatch,
                          tr("The file of %1 is not the one the service published: its SHA-256 is %2, the "
                             "service's is %3.")
                              .arg(fileName(file), QString::fromLatin1(actual), checksum.toLower()));
    return {};
}

QString VLFileTrust::unverifiableWarning(const VLSyncFileInfo &file)
{
    if (file.fileType() != VLSyncSessionFileTypeFirmware && file.fileType() != VLSyncSessionFileTypeBootloader)
        return {};
    if (!recordChecksum(file).isEmpty())
        return {};
    return tr("The service gives no checksum for %1: its bytes cannot be verified.").arg(fileName(file));
}
