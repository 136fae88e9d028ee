#include "VLTransportSecurity.h"

#include "VLNetworkError.h"
#include "VLServiceSettings.h"

#include <QCoreApplication>
#include <QFile>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslSocket>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VLTransportSecurity", text);
}

QList<QSslCertificate> certificatesIn(const QString &caFile, VLError *error)
{
    QFile file(caFile);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = vlURLError(VLURLErrorSecureConnectionFailed,
                                tr("The CA certificate file \"%1\" cannot be read: %2").arg(caFile, file.errorString()));
        return {};
    }
    // A CA file is a few certificates; anything far larger is not one.
    const QList<QSslCertificate> certificates = QSslCertificate::fromData(file.read(16 * 1024 * 1024), QSsl::Pem);
    if (certificates.isEmpty() && error)
        *error = vlURLError(VLURLErrorSecureConnectionFailed,
                            tr("The file \"%1\" holds no PEM certificate.").arg(caFile));
    return certificates;
}

} // namespace

bool vlReadCertificatesFile(const QString &caFile, int *count, VLError *error)
{
    const QList<QSslCertificate> certificates = certificatesIn(caFile, error);
    if (count)
        *count = int(certificates.size());
    return !certificates.isEmpty();
}

bool vlTrustCertificatesInFile(const QString &caFile, VLError *error)
{
    const QList<QSslCertificate> extra = certificatesIn(caFile, error);
    if (extra.isEmpty())
        return false;
    if (!QSslSocket::supportsSsl()) {
        if (error)
            *error = vlTLSUnavailableError(QUrl(QStringLiteral("https:")));
        return false;
    }
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    // A configuration with CA certificates of its own stops loading the system's on demand, so
    // the system's are put in explicitly: the extra ones are trusted beside them, not instead.
    QList<QSslCertificate> trusted = configuration.caCertificates();
    if (trusted.isEmpty())
        trusted = QSslConfiguration::systemCaCertificates();
    trusted += extra;
    configuration.setCaCertificates(trusted);
    QSslConfiguration::setDefaultConfiguration(configuration);
    return true;
}

bool vlTrustConfiguredCertificates(const QString &caFile, VLError *error)
{
    const QString file = caFile.isEmpty() ? VLServiceSettings::value(VLServiceSettings::TrustedCAFileKey) : caFile;
    return file.isEmpty() || vlTrustCertificatesInFile(file, error);
}

VLError vlTLSUnavailableError(const QUrl &url)
{
    if (url.scheme().compare(QLatin1String("https"), Qt::CaseInsensitive) != 0 || QSslSocket::supportsSsl())
        return {};
    return vlURLError(VLURLErrorSecureConnectionFailed,
                      tr("This computer has no TLS support, so the https service cannot be reached: Qt found no "
                         "usable OpenSSL library (install libssl3)."),
                      url.toString());
}
