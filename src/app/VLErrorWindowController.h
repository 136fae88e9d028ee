#pragma once

#include "VLError.h"

#include <QAbstractTableModel>
#include <QList>
#include <QObject>
#include <QPointer>

#include <memory>

class QDialog;
class QTableView;
namespace Ui {
class ErrorWindow;
}

// The rows of the error window: one line per error.
class VLErrorTableModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    using QAbstractTableModel::QAbstractTableModel;

    void reload(const QList<VLError> &errors);
    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;

private:
    QList<VLError> m_errors;
};

// A modal list of errors, loaded from the interface definition "ErrorWindow".
class VLErrorWindowController : public QObject
{
    Q_OBJECT
public:
    explicit VLErrorWindowController(QObject *parent = nullptr);
    ~VLErrorWindowController() override;

    const QList<VLError> &errors() const { return m_errors; }
    // Reloads the table only for a list other than the one held (the very same list object is
    // not reloaded again).
    void setErrors(const QList<VLError> &errors);

    // Runs the window as an application-modal session; returns its code when it ends.
    int showWindow();
    // Ends the modal session with code 1 and closes the window.
    void close();

    int numberOfRowsInTableView() const;
    QString objectValueForRow(int row) const;
    static QString textForError(const VLError &error);

    QDialog *window() const { return m_window.get(); }
    QTableView *errorTableView() const;
    VLErrorTableModel *tableModel() const { return m_model; }

private:
    std::unique_ptr<QDialog> m_window;
    std::unique_ptr<Ui::ErrorWindow> m_ui;
    VLErrorTableModel *m_model;
    QList<VLError> m_errors;
};
