#pragma once

#include <QObject>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>
#include <memory>

// Everything the application needs to run without hardware: in a fresh temporary folder, the demo
// catalog, the sync web-service emulator serving it, and one emulated device. The device starts
// without captured colours: a capture is matched against the fandecks the device holds at that
// moment, and a fresh device holds none until its first sync. start() points the data folder, the device folder and the service URL of this process
// at them (TINTERA_DATA_DIR, KALVEX_DEVICE_DIR, TINTERA_SERVICE_URL), so call it before anything
// reads those. The emulators stop when the object goes away (and with this process).
class VLDemoEnvironment : public QObject
{
    Q_OBJECT
public:
    explicit VLDemoEnvironment(QObject *parent = nullptr);
    ~VLDemoEnvironment() override;

    bool start(QString *errorText);
    void stop();

    QString rootFolder() const { return m_root ? m_root->path() : QString(); }
    QString dataFolder() const;
    QString deviceFolder() const;
    QString serviceURL() const { return m_serviceURL; }
    QString deviceSerialNumber() const { return QStringLiteral("VL000001"); }

    // A tool of the project: beside the program once installed, under tools/ in a build folder,
    // or on the PATH. Empty when it cannot be found.
    static QString toolPath(const QString &name);

private:
    bool run(const QString &tool, const QStringList &arguments, QString *errorText);
    bool startServer(QProcess &process, const QString &tool, const QStringList &arguments,
                     const std::function<bool(const QString &line)> &isReady, QString *errorText);

    std::unique_ptr<QTemporaryDir> m_root;
    QProcess m_service;
    QProcess m_devices;
    QString m_serviceURL;
};
