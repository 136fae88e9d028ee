#include "VLErrorWindowController.h"

#include "VLFormat.h"
#include "ui_ErrorWindow.h"

#include <QCoreApplication>
#include <QDialog>
#include <QHeaderView>

void VLErrorTableModel::reload(const QList<VLError> &errors)
{
    beginResetModel();
    m_errors = errors;
    endResetModel();
}

int VLErrorTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_errors.size());
}

int VLErrorTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : 1;
}

QVariant VLErrorTableModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_errors.size() || (role != Qt::DisplayRole && role != Qt::ToolTipRole))
        return {};
    return VLErrorWindowController::textForError(m_errors.at(index.row()));
}

VLErrorWindowController::VLErrorWindowController(QObject *parent)
    : QObject(parent)
    , m_window(std::make_unique<QDialog>())
    , m_ui(std::make_unique<Ui::ErrorWindow>())
    , m_model(new VLErrorTableModel(this))
{
    m_ui->setupUi(m_window.get());
    m_window->setWindowModality(Qt::ApplicationModal);
    m_ui->errorTableView->setModel(m_model);
    m_ui->errorTableView->verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    connect(m_ui->closeButton, &QPushButton::clicked, this, &VLErrorWindowController::close);
}

VLErrorWindowController::~VLErrorWindowController() = default;

void VLErrorWindowController::setErrors(const QList<VLError> &errors)
{
    if (m_errors.isSharedWith(errors))
        return;
    m_errors = errors;
    m_model->reload(m_errors);
}

int VLErrorWindowController::showWindow()
{
    return m_window->exec();
}

void VLErrorWindowController::close()
{
    m_window->done(1);
    m_window->close();
}

int VLErrorWindowController::numberOfRowsInTableView() const
{
    return int(m_errors.size());
}

QString VLErrorWindowController::objectValueForRow(int row) const
{
    if (row < 0 || row >= m_errors.size())
        return {};
    return textForError(m_errors.at(row));
}

QString VLErrorWindowController::textForError(const VLError &error)
{
    return vlFormat(QCoreApplication::translate("VLErrorWindowController", "Error code %d, %@"), error.code(),
                    error.localizedDescription());
}

QTableView *VLErrorWindowController::errorTableView() const
{
    return m_ui->errorTableView;
}
