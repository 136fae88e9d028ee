#include "VelmoraSyncPreferencesWindowController.h"

#include "TSLogger.h"
#include "VLBundleResources.h"
#include "VLFilteringSelectionModel.h"
#include "VLSyncWindow.h"
#include "ui_VelmoraSyncPreferencesWindowController.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QDialog>
#include <QEvent>
#include <QHeaderView>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPlainTextEdit>
#include <QUrl>
#include <QVBoxLayout>

namespace {

// Remembers which column a mouse press lands in, before the view turns it into a selection.
class PressedColumnWatcher : public QObject
{
public:
    PressedColumnWatcher(QTableView *view, int *pressedColumn)
        : QObject(view)
        , m_view(view)
        , m_pressedColumn(pressedColumn)
    {
        view->viewport()->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::MouseButtonPress || event->type() == QEvent::MouseButtonDblClick)
            *m_pressedColumn = m_view->indexAt(static_cast<QMouseEvent *>(event)->position().toPoint()).column();
        else if (event->type() == QEvent::MouseButtonRelease)
            *m_pressedColumn = -1;
        return false;
    }

private:
    QTableView *m_view;
    int *m_pressedColumn;
};

} // namespace

VelmoraSyncPreferencesWindowController::VelmoraSyncPreferencesWindowController(QObject *parent)
    : QObject(parent)
    , m_window(std::make_unique<VLSyncWindow>())
    , m_ui(std::make_unique<Ui::VelmoraSyncPreferencesWindowController>())
    , m_fandeckModel(new VLFandeckTableModel(this))
{
    m_ui->setupUi(m_window.get());
    setUpFandeckTable();
    connect(m_ui->helpButton, &QPushButton::clicked, this, &VelmoraSyncPreferencesWindowController::showHelp);
    connect(m_ui->debugButton, &QPushButton::clicked, this, &VelmoraSyncPreferencesWindowController::debugAction);
    windowDidLoad();
}

VelmoraSyncPreferencesWindowController::~VelmoraSyncPreferencesWindowController() = default;

void VelmoraSyncPreferencesWindowController::setUpFandeckTable()
{
    QTableView *table = m_ui->fandeckTableView;
    table->setModel(m_fandeckModel);
    // A click on a box never moves the selection; clicks elsewhere select as usual.
    new PressedColumnWatcher(table, &m_pressedColumn);
    table->setSelectionModel(new VLFilteringSelectionModel(
        m_fandeckModel, [this](const QModelIndex &) { return m_pressedColumn != VLFandeckTableModel::CheckColumn; },
        m_fandeckModel));
    table->horizontalHeader()->setSectionResizeMode(VLFandeckTableModel::CheckColumn, QHeaderView::ResizeToContents);
}

void VelmoraSyncPreferencesWindowController::showWindow()
{
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

void VelmoraSyncPreferencesWindowController::windowDidLoad()
{
    const QString name = QCoreApplication::applicationName();
    m_ui->versionField->setText(
        vlPreferencesVersionText(name, QCoreApplication::applicationVersion(), QCoreApplication::applicationVersion()));
    m_ui->chipIDLabel->hide();
    m_ui->chipdIDField->hide();
    m_ui->debugButton->hide();
    m_ui->imageView->setPixmap(QPixmap(QStringLiteral(":/app/TINTERA_logo.png")));
}

void VelmoraSyncPreferencesWindowController::startProgress()
{
    m_ui->progressIndicator->setRange(0, 0); // indeterminate: the bar animates by itself
}

void VelmoraSyncPreferencesWindowController::stopProgress()
{
    m_ui->progressIndicator->setRange(0, 100);
    m_ui->progressIndicator->update();
    if (QWidget *enclosing = m_ui->progressIndicator->parentWidget())
        enclosing->update();
}

void VelmoraSyncPreferencesWindowController::setProgressValue(double value)
{
    if (m_ui->progressIndicator->maximum() == 0)
        m_ui->progressIndicator->setRange(0, 100);
    m_ui->progressIndicator->setValue(qBound(0, qRound(value), 100));
}

double VelmoraSyncPreferencesWindowController::progressValue() const
{
    return m_ui->progressIndicator->value();
}

void VelmoraSyncPreferencesWindowController::showInfoTexts(const VLPreferencesInfoTexts &texts)
{
    m_ui->serialNumberTextField->setText(texts.serialNumber);
    m_ui->chipdIDField->setText(texts.chipId);
    m_ui->firmwareTextField->setText(texts.firmware);
    m_ui->storageTextField->setText(texts.storage);
    m_ui->autoSyncCheckBoxButton->setChecked(texts.autoSyncChecked);
    m_ui->syncSelectedOnlyCheckboxButton->setChecked(texts.syncSelectedOnlyChecked);
    m_ui->statusTextField->setText(texts.status);
}

QString VelmoraSyncPreferencesWindowController::helpDocumentPath()
{
    return vlPathForBundleResource(VLHelpDocumentName, QStringLiteral("pdf"));
}

void VelmoraSyncPreferencesWindowController::showHelp()
{
    const QString path = helpDocumentPath();
    if (!path.isEmpty() && QDesktopServices::openUrl(QUrl::fromLocalFile(path)))
        return;
    // The platform's standard help of an application without a help book.
    emit standardHelpShown();
    auto *box = new QMessageBox(QMessageBox::Information, tr("Help"),
                                tr("Help isn't available for %1.").arg(QCoreApplication::applicationName()),
                                QMessageBox::Ok, m_window.get());
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

void VelmoraSyncPreferencesWindowController::debugAction()
{
    if (!m_debugWindow) {
        m_debugWindow = new QDialog(m_window.get(), Qt::Tool);
        m_debugWindow->setWindowTitle(tr("Log"));
        m_debugTextView = new QPlainTextEdit(m_debugWindow);
        m_debugTextView->setReadOnly(true);
        m_debugTextView->setObjectName(QStringLiteral("debugTextView"));
        auto *layout = new QVBoxLayout(m_debugWindow);
        layout->addWidget(m_debugTextView);
        m_debugWindow->resize(560, 360);
    }
    m_debugTextView->setPlainText(TSLogger::defaultLogger()->logText());
    m_debugWindow->show();
    m_debugWindow->raise();
}
