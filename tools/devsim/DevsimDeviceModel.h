#pragma once

#include "DevsimStore.h"
#include "KDFrame.h"
#include "VLError.h"

#include <QVariantMap>

// A command as the emulated device received it. A payload arrives in memory or, when large, in a
// file of its own that the command may take over.
struct DevsimRequest
{
    QString name;
    QVariantMap arguments;
    bool hasData = false;
    QByteArray data;
    QString dataFile;
    qint64 dataLength = 0;
};

struct DevsimAnswer
{
    VLError error;
    bool hasData = false;
    KDPayload payload;
    QVariantList measurements;
    bool reboot = false; // the device restarts instead of answering
};

// What the device does with each command of its vocabulary, over its persistent state.
class DevsimDeviceModel
{
public:
    explicit DevsimDeviceModel(DevsimStore store);

    bool load(VLError *error);
    const DevsimStore &store() const { return m_store; }
    const QVariantMap &state() const { return m_state; }
    QString serialNumber() const { return m_store.serialNumber(); }
    QString name() const;
    // "ChipId", "Firmware", "FreeDiskSpace" (bytes, as text).
    QVariantMap attributes() const;
    int rebootMilliseconds() const;

    DevsimAnswer execute(const DevsimRequest &request);
    // What a restart changes: an installed firmware becomes the one reported.
    void restart();

    // File types of which the device holds at most one file.
    static bool isSingleSlotFileType(const QString &fileType);

private:
    using Handler = DevsimAnswer (DevsimDeviceModel::*)(const DevsimRequest &);
    static Handler handlerFor(const QString &name);

    DevsimAnswer beginSync(const DevsimRequest &request);
    DevsimAnswer endSync(const DevsimRequest &request);
    DevsimAnswer setSyncImage(const DevsimRequest &request);
    DevsimAnswer getFiles(const DevsimRequest &request);
    DevsimAnswer getMeasurements(const DevsimRequest &request);
    DevsimAnswer download(const DevsimRequest &request);
    DevsimAnswer setClock(const DevsimRequest &request);
    DevsimAnswer reboot(const DevsimRequest &request);
    DevsimAnswer deleteFile(const DevsimRequest &request);
    DevsimAnswer upload(const DevsimRequest &request);
    DevsimAnswer enableFandeck(const DevsimRequest &request);
    DevsimAnswer setPreferredFandeck(const DevsimRequest &request);
    DevsimAnswer setDeltaE(const DevsimRequest &request);
    DevsimAnswer hiddenClean(const DevsimRequest &request);

    DevsimAnswer saved();
    static DevsimAnswer failure(const VLError &error);
    qsizetype fileIndex(const QString &deviceFileID) const;
    qint64 freeBytes() const;
    bool storePayload(const DevsimRequest &request, const QString &target, VLError *error) const;

    DevsimStore m_store;
    QVariantMap m_state;
};
