#pragma once

#include "DevsimDevice.h"

#include <QFileSystemWatcher>
#include <QMap>
#include <QObject>

// Serves every device of a state folder, including devices added while it runs, and follows their
// "unplugged" markers.
class DevsimServer : public QObject
{
    Q_OBJECT
public:
    DevsimServer(const QString &stateFolder, const QString &deviceDirectory, const DevsimLink &defaultLink = {},
                 QObject *parent = nullptr);

    bool start(VLError *error);
    void stop();
    QStringList serialNumbers() const { return m_devices.keys(); }

signals:
    void announcement(const QString &line);

private:
    void rescan();
    DevsimDevice *startDevice(const QString &serial, VLError *error);

    QString m_stateFolder;
    QString m_deviceDirectory;
    DevsimLink m_defaultLink;
    QMap<QString, DevsimDevice *> m_devices;
    QFileSystemWatcher m_watcher;
};
