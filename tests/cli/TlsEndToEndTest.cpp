// tintera against the service emulator over https, with certificates this test makes with the
// openssl command line: a CA of its own, certificates it signed for 127.0.0.1 and localhost, for
// another host, and one that has expired, and a self-signed one.
#include "TinteraDemoEnvironment.h"
#include "TinteraEmulators.h"
#include "TinteraProcess.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

bool openssl(const QString &folder, const QStringList &arguments, QString *error)
{
    QProcess process;
    process.setWorkingDirectory(folder);
    process.start(QStringLiteral("openssl"), arguments);
    if (process.waitForFinished(30000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0)
        return true;
    *error = "openssl " + arguments.join(' ') + ": " + process.errorString() + " " + QString::fromUtf8(process.readAllStandardError());
    return false;
}

// Every certificate with the same key, in `folder`: ca.pem, trusted.pem, wronghost.pem, expired.pem,
// selfsigned.pem and server.key.
bool makeCertificates(const QString &folder, QString *error)
{
    const QStringList key{"-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes"};
    const QString loopbackNames = "subjectAltName=IP:127.0.0.1,DNS:localhost";
    const auto signedByTheCA = [&](const QString &name, const QString &request, const QString &names, const QString &days) {
        QFile extensions(folder + "/" + name + ".ext");
        return extensions.open(QIODevice::WriteOnly) && extensions.write(names.toUtf8() + "\n") > 0
            && (extensions.close(), true)
            && openssl(folder, {"x509", "-req", "-in", request, "-CA", "ca.pem", "-CAkey", "ca.key",
                                "-CAcreateserial", "-days", days, "-extfile", name + ".ext", "-out", name + ".pem"},
                       error);
    };
    return openssl(folder, QStringList{"req", "-x509"} + key
                               + QStringList{"-keyout", "ca.key", "-out", "ca.pem", "-days", "2", "-subj",
                                             "/CN=TINTERA Test CA", "-addext", "basicConstraints=critical,CA:TRUE",
                                             "-addext", "keyUsage=critical,keyCertSign,cRLSign"},
                   error)
        && openssl(folder, QStringList{"req"} + key + QStringList{"-keyout", "server.key", "-out", "server.csr", "-subj", "/CN=127.0.0.1"},
                   error)
        // Qt also matches the common name: the other host's certificate names it in both places.
        && openssl(folder, {"req", "-new", "-key", "server.key", "-out", "other.csr", "-subj", "/CN=sync.other.example"}, error)
        && signedByTheCA("trusted", "server.csr", loopbackNames, "2")
        && signedByTheCA("wronghost", "other.csr", "subjectAltName=DNS:sync.other.example", "2")
        // Valid from now until a day ago: expired whenever it is checked.
        && signedByTheCA("expired", "server.csr", loopbackNames, "-1")
        && openssl(folder, {"req", "-x509", "-key", "server.key", "-out", "selfsigned.pem", "-days", "2", "-subj",
                            "/CN=127.0.0.1", "-addext", loopbackNames},
                   error);
}

class TinteraOverTls : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(certificates.isValid());
        QString error;
        ASSERT_TRUE(makeCertificates(certificates.path(), &error)) << qPrintable(error);
        caFile = certificates.filePath("ca.pem");
    }
    void TearDown() override { environment.stop(); }

    // The demo environment with the service presenting `certificate`.
    void start(const QString &certificate)
    {
        TinteraDemoEnvironment::Options options;
        options.rebootMilliseconds = 0;
        options.tlsCertificate = certificates.filePath(certificate + ".pem");
        options.tlsKey = certificates.filePath("server.key");
        VLError error;
        ASSERT_TRUE(environment.start(options, &error)) << qPrintable(error.description());
        ASSERT_TRUE(environment.serviceURL().startsWith("https://"));
    }
    qint64 fileRequests() { return environment.served("requests"); }

    QTemporaryDir certificates;
    QString caFile;
    TinteraDemoEnvironment environment;
};

} // namespace

// The https service lists its files at http URLs: each is refused by name, nothing is fetched,
// and the sync goes on with the others. Listed at https URLs, the whole sync runs over TLS with
// the test's CA, given once on the command line and then as the stored setting.
TEST_F(TinteraOverTls, ATrustedCAIsAcceptedAndHttpFilesOfAnHttpsServiceAreRefused)
{
    start("trusted");
    VLError error;
    ASSERT_TRUE(environment.cloudsimControl("fault?target=GetAvailableFiles&fileurl=http", nullptr, &error));
    const TinteraRun refused = runTintera({"sync", "--ca-file", caFile});
    const QString refusedText = refused.out + refused.err;
    EXPECT_EQ(refused.exitCode, 1) << qPrintable(refusedText);
    EXPECT_TRUE(refusedText.contains(QRegularExpression("\"TX350-FW-[0-9.]+\\.bin\" at \"http://[^\"]+\", which is not an https URL")))
        << qPrintable(refusedText);
    EXPECT_TRUE(refusedText.contains(QRegularExpression("\"VLM-FD-ACCENT-[0-9.]+\\.cxf\" at \"http://"))) << qPrintable(refusedText);
    EXPECT_EQ(fileRequests(), 0);
    EXPECT_TRUE(QDir(environment.dataFolder() + "/Fandecks").entryList(QDir::Dirs | QDir::NoDotAndDotDot).isEmpty());
    EXPECT_TRUE(QDir(environment.dataFolder() + "/Files").entryList(QDir::Dirs | QDir::NoDotAndDotDot).isEmpty());

    ASSERT_TRUE(environment.cloudsimControl("clear", nullptr, &error));
    const TinteraRun stored = runTintera({"settings", "ca-file", caFile, "--json"});
    ASSERT_EQ(stored.exitCode, 0) << qPrintable(stored.err);
    const QJsonObject settings = QJsonDocument::fromJson(stored.out.toUtf8()).object().value("settings").toObject();
    EXPECT_EQ(settings.value("caFile").toString(), caFile);
    EXPECT_EQ(settings.value("serviceURL").toString(), environment.serviceURL());
    const TinteraRun synced = runTintera({"sync"});
    EXPECT_EQ(synced.exitCode, 0) << qPrintable(synced.out + synced.err);
    EXPECT_TRUE(synced.out.contains("without errors")) << qPrintable(synced.out);
    EXPECT_GT(fileRequests(), 0);
}

struct RefusedCertificate
{
    const char *certificate;
    const char *reason; // what the run must say (a regular expression)
};

void PrintTo(const RefusedCertificate &row, std::ostream *out)
{
    *out << row.certificate;
}

class TinteraRefusesCertificates : public TinteraOverTls, public ::testing::WithParamInterface<RefusedCertificate>
{
};

TEST_P(TinteraRefusesCertificates, WithAClearErrorAndWithoutTouchingTheService)
{
    start(GetParam().certificate);
    const TinteraRun run = runTintera({"sync", "--ca-file", caFile});
    const QString text = run.out + run.err;
    EXPECT_EQ(run.exitCode, 1) << qPrintable(text);
    EXPECT_TRUE(text.contains(QRegularExpression(GetParam().reason))) << qPrintable(text);
    EXPECT_FALSE(text.contains("connected to the Internet")) << qPrintable(text);
    EXPECT_EQ(fileRequests(), 0);
}

INSTANTIATE_TEST_SUITE_P(Certificates, TinteraRefusesCertificates,
                         ::testing::Values(RefusedCertificate{"selfsigned", "self-signed"},
                                           RefusedCertificate{"wronghost", "host name did not match"},
                                           RefusedCertificate{"expired", "certificate has expired"}),
                         [](const ::testing::TestParamInfo<RefusedCertificate> &row) {
                             return std::string(row.param.certificate);
                         });
