#pragma once

#include "LinkProfile.h"
#include "VLError.h"

#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <QVariantMap>

#include <memory>

// The whole system on one machine: a demo catalog, the service emulator serving it and a device
// emulator, in one folder. The sync runs against them through the environment variables it sets
// for this process (TINTERA_DATA_DIR, TINTERA_SERVICE_URL, KALVEX_DEVICE_DIR). Used by the demo
// of the command line and of the tray application, and by every test that runs an emulator, some
// of which start one emulator alone.
class TinteraDemoEnvironment : public QObject
{
    Q_OBJECT
public:
    struct Options
    {
        QString folder;             // empty: a fresh temporary folder, removed at the end unless kept
        bool keep = false;
        int edition = 1;            // catalog edition served
        QString catalog;            // a catalog folder to serve instead of the demo's
        bool service = true;        // start the service emulator
        int devices = 1;            // devices added and served; 0: the device emulator waits for startDeviceEmulator()
        int rebootMilliseconds = 300; // how long the emulated device is away for a reboot
        QStringList cloudsimArguments; // extra arguments, e.g. faults
        bool seedDevice = true;     // a fandeck on the device and a few captured colours
        LinkSetting link;           // the device's and the service's links (loopback: unshaped)
        quint64 linkSeed = 1;
        QString tlsCertificate;     // PEM certificate and key: the service speaks https only
        QString tlsKey;
        bool exportEnvironment = true; // the variables above, for the sync of this process
    };

    explicit TinteraDemoEnvironment(QObject *parent = nullptr);
    ~TinteraDemoEnvironment() override;

    bool start(const Options &options, VLError *error);
    void stop();

    QString folder() const { return m_folder; }
    QString catalogFolder() const { return m_catalogFolder; }
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
    // "tintera-devsim VERB --state <this folder's> ARGUMENTS..."
    bool devsim(const QStringList &arguments, QString *output, VLError *error);
    // A tool of the project to its end: its exit code (-1: it did not come to an end by itself).
    static int runTool(const QString &tool, const QStringList &arguments, QString *output = nullptr,
                       QString *errors = nullptr, int timeout = 60000);
    // GET <service>/control/<pathAndQuery>; false unless the emulator answers 200. *reply is the
    // body of whatever answer came.
    bool cloudsimControl(const QString &pathAndQuery, QByteArray *reply, VLError *error);
    // The service emulator's counters ("stats"); empty, with *error set, when they cannot be read.
    QJsonObject serviceStatistics(VLError *error = nullptr);
    // One counter ("bytesServed", "requests") of one served file, or summed over every file when no
    // name is given; -1 when the counters cannot be read.
    qint64 served(const char *figure, const QString &fileName = {});
    // The catalog's record of a SKU, and the name under "files/" of its payload.
    QVariantMap catalogRecord(const QString &sku) const;
    QString catalogFileName(const QString &sku) const;
    // The device's files as it lists them (GetFiles), and the emulator's stored state of it.
    QVariantList deviceInventory(const QString &serial, VLError *error = nullptr);
    QVariantMap deviceState(const QString &serial) const;
    // Puts the device and the service on other links while they run; the device's reboot time
    // too when given (negative: left as it is).
    bool setLink(const LinkSetting &link, int rebootMilliseconds, VLError *error);
    // The device emulator's log of the commands it served (see tintera-devsim's traffic.log).
    QString deviceTrafficLog(const QString &serial) const;
    // "tintera-devsim serve" with extra arguments, once it says it is ready; and its end.
    bool startDeviceEmulator(const QStringList &arguments, VLError *error);
    void stopDeviceEmulator();
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
    bool startServiceEmulator(const Options &options, VLError *error);
    bool seedDevice(const QString &serial, VLError *error);
    // Sets a variable for this process until stop(), when the options export them.
    void setEnvironment(const char *name, const QString &value);

    std::unique_ptr<QTemporaryDir> m_temporary;
    QString m_folder;
    QString m_catalogFolder;
    QString m_serviceURL;
    QStringList m_serials;
    Options m_options;
    QPointer<QProcess> m_cloudsim;
    QPointer<QProcess> m_devsim;
    QByteArray m_serviceCertificate; // PEM: what the service emulator presents over https
    QList<std::pair<const char *, QByteArray>> m_previousEnvironment; // null: was not set
};
