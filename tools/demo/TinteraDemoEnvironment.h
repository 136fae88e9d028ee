#pragma once

#include "LinkProfile.h"
#include "VLError.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <memory>

// The whole system on one machine: a demo catalog, the service emulator serving it and a device
// emulator, in one folder. The sync runs against them through the environment variables it sets
// for this process (TINTERA_DATA_DIR, TINTERA_SERVICE_URL, KALVEX_DEVICE_DIR). Used by the demo
// of the command line and of the tray application, and by the end-to-end tests.
class TinteraDemoEnvironment : public QObject
{
    Q_OBJECT
public:
    struct Options
    {
        QString folder;             // empty: a fresh temporary folder, removed at the end unless kept
        bool keep = false;
        int edition = 1;            // catalog edition served
        int devices = 1;
        int rebootMilliseconds = 300; // how long the emulated device is away for a reboot
        QStringList cloudsimArguments; // extra arguments, e.g. faults
        bool seedDevice = true;     // a fandeck on the device and a few captured colours
        LinkSetting link;           // the device's and the service's links (loopback: unshaped)
        quint64 linkSeed = 1;
        QString tlsCertificate;     // PEM certificate and key: the service speaks https only
        QString tlsKey;
    };

    explicit TinteraDemoEnvironment(QObject *parent = nullptr);
    ~TinteraDemoEnvironment() override;

    bool start(const Options &options, VLError *error);
    void stop();

    QString folder() const { return m_folder; }
    QString catalogFolder() const { return m_folder + QStringLiteral("/catalog"); }
    QString dataFolder() const { return m_folder + QStringLiteral("/data"); }
    QString deviceFolder() const { return m_folder + QStringLiteral("/devices"); }
    QString devsimStateFolder() const { return m_folder + QStringLiteral("/devsim"); }
    QString serviceURL() const { return m_serviceURL; }
    QStringList serialNumbers() const { return m_serials; }

    // Rewrites the catalog in place with another edition; the running service serves it at once.
    bool writeCatalog(int edition, VLError *error);
    // Adds a capture on the emulated device: CIELAB (D65, 10 degree), an optional tag and audio note.
    bool capture(const QString &serial, double L, double a, double b, const QString &tag,
                 const QString &audioFile, VLError *error);
    // Sends one command to an emulated device through tintera-devctl; the output is its report.
    bool deviceCommand(const QString &serial, const QStringList &arguments, QString *output, VLError *error);
    bool devsim(const QStringList &arguments, QString *output, VLError *error);
    bool cloudsimControl(const QString &pathAndQuery, QByteArray *reply, VLError *error);
    // Puts the device and the service on other links while they run; the device's reboot time
    // too when given (negative: left as it is).
    bool setLink(const LinkSetting &link, int rebootMilliseconds, VLError *error);
    // The device emulator's log of the commands it served (see tintera-devsim's traffic.log).
    QString deviceTrafficLog(const QString &serial) const;
    // Ends the device emulator with SIGKILL, as a crash would: its connections drop without a word
    // and its socket files stay behind. False when it was not running.
    bool killDeviceEmulator();

    // A built tool of the project: TINTERA_TOOLS_DIR, then beside this program, then the build
    // tree's tools/<name>/, then PATH.
    static QString toolPath(const QString &toolName);
    // A short WAV note (a plain sine tone) for captures.
    static QByteArray spokenNoteWav(int tone);

private:
    bool run(const QString &tool, const QStringList &arguments, QString *output, VLError *error, int timeout = 60000);
    QProcess *launch(const QString &tool, const QStringList &arguments);
    bool seedDevice(const QString &serial, VLError *error);

    std::unique_ptr<QTemporaryDir> m_temporary;
    QString m_folder;
    QString m_serviceURL;
    QStringList m_serials;
    QPointer<QProcess> m_cloudsim;
    QPointer<QProcess> m_devsim;
    bool m_tls = false;
    QByteArray m_previousDataDir, m_previousServiceURL, m_previousDeviceDir, m_previousTrustedKeys;
    bool m_environmentSet = false;
};
