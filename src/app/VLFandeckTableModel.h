#pragma once

#include "VLSyncFileInfo.h"

#include <QAbstractTableModel>

// What the fandeck table asks of the sync manager.
class VLFandeckChoices
{
public:
    virtual ~VLFandeckChoices() = default;
    virtual bool userWantsSyncForFandeckWithID(const QString &fandeckID) = 0;
    virtual void setUserWantsSyncForFandeckWithID(bool wanted, const QString &fandeckID) = 0;
    virtual bool syncSelectedFandecksOnly() const = 0;
    virtual bool isInSync() const = 0;
};

// The preferences window's fandeck table: a "check" column (sync this fandeck) and a "name" column.
// The boxes can be changed, and the names are black, only while the user syncs selected fandecks
// only and no sync runs; otherwise the boxes are disabled and the names light grey.
class VLFandeckTableModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum Column { CheckColumn = 0, NameColumn = 1 };

    explicit VLFandeckTableModel(QObject *parent = nullptr);

    // Not owned; none makes every box unticked and disabled.
    void setChoices(VLFandeckChoices *choices);
    // Sorts by description, fandecks without one first, and reloads.
    void setFandecks(const VLSyncFileList &fandecks);
    const VLSyncFileList &fandecks() const { return m_fandecks; }
    // Re-reads ticks and enabled states without changing the rows.
    void reload();

    static QString columnIdentifier(int column);
    static VLSyncFileList sortedByDescription(const VLSyncFileList &fandecks);
    static QString nameForFandeck(const VLSyncFileInfoPtr &fandeck);
    bool choicesAreEditable() const;

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role) override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

private:
    VLFandeckChoices *m_choices = nullptr;
    VLSyncFileList m_fandecks;
};
