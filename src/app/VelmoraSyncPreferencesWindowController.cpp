#include "VelmoraSyncPreferencesWindowController.h"

#include "KDDeviceObserver.h"
#include "TSLogger.h"
#include "VLApplicationInfo.h"
#include "VLBundleResources.h"
#include "VLExportTarget.h"
#include "VLFilteringSelectionModel.h"
#include "VLHelpWindowController.h"
#include "VLAlertPresenter.h"
#include "VLSelectedOnlyConfirmation.h"
#include "VLSelectedOnlyWarning.h"
#include "VLNotificationCenter.h"
#include "VLSyncInfo.h"
#include "VLSyncManager.h"
#include "VLSyncStallWatchdog.h"
#include "VLSyncWindow.h"
#include "ui_VelmoraSyncPreferencesWindowController.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QDate>
#include <QDialog>
#include <QDir>
#include <QEvent>
#include <QFileInfo>
#include <QLabel>
#include <QHeaderView>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPlainTextEdit>
#include <QStandardPaths>
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
    m_opener = [this](const QString &path, VLOpenedHandler done) { vlOpenWithDesktop(path, this, std::move(done)); };
    m_ui->setupUi(m_window.get());
    setUpFandeckTable();
    bindControls();
    windowDidLoad();
}

void VelmoraSyncPreferencesWindowController::bindControls()
{
    connect(m_ui->helpButton, &QPushButton::clicked, this, &VelmoraSyncPreferencesWindowController::showHelp);
    connect(m_ui->debugButton, &QPushButton::clicked, this, &VelmoraSyncPreferencesWindowController::debugAction);
    connect(m_ui->autoSyncCheckBoxButton, &QCheckBox::clicked, this,
            &VelmoraSyncPreferencesWindowController::autoSyncButtonPressed);
    connect(m_ui->syncSelectedOnlyCheckboxButton, &QCheckBox::clicked, this,
            &VelmoraSyncPreferencesWindowController::syncSelectedOnlyButtonPressed);
    connect(m_ui->syncNowButton, &QPushButton::clicked, this, &VelmoraSyncPreferencesWindowController::syncNowPressed);
    connect(m_ui->cancelSyncButton, &QPushButton::clicked, this, &VelmoraSyncPreferencesWindowController::cancelSyncPressed);
    connect(m_ui->exportButton, &QPushButton::clicked, this, &VelmoraSyncPreferencesWindowController::exportMeasurements);
    connect(m_ui->measurementsButton, &QPushButton::clicked, this, &VelmoraSyncPreferencesWindowController::measurementsRequested);
    // The fandeck table follows the inventory's fandeck changes.
    m_fandecksObserver = VLNotificationCenter::defaultCenter()->addObserver(
        VLSyncInfoFandecksDidChangeNotification, nullptr, this, [this](const VLNotification &) { fandecksChanged(); });
}

VelmoraSyncPreferencesWindowController::~VelmoraSyncPreferencesWindowController() = default;

bool VelmoraSyncPreferencesWindowController::isAtRest() const
{
    const auto closed = [](const QWidget *widget) { return !widget || widget->isHidden(); };
    return closed(m_window.get()) && closed(m_helpWindow ? m_helpWindow->window() : nullptr) && closed(m_exportPanel)
           && closed(m_exportWindow) && closed(m_exportConfirmation) && !m_exportController;
}

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
    m_window->setWindowState(m_window->windowState() & ~Qt::WindowMinimized);
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

void VelmoraSyncPreferencesWindowController::windowDidLoad()
{
    m_ui->versionField->setText(vlPreferencesVersionText(vlApplicationInfoValue(QStringLiteral("CFBundleName")).toString(),
                                                         vlApplicationInfoValue(QStringLiteral("CFBundleShortVersionString")).toString(),
                                                         vlApplicationInfoValue(QStringLiteral("CFBundleVersion")).toString()));
    m_ui->chipIDLabel->hide();
    m_ui->chipdIDField->hide();
    m_ui->debugButton->hide();
    updateInfoSectionWithDevice(m_syncManager ? m_syncManager->device() : KDDevicePtr());
}

void VelmoraSyncPreferencesWindowController::setSyncManager(VLSyncManager *syncManager)
{
    if (m_syncManager || m_deviceObserver) {
        m_deviceObserver.reset();
        VLNotificationCenter::defaultCenter()->removeObserver(m_statusObserver);
        disconnect(m_valueObserver);
    }
    m_syncManager = syncManager;
    m_fandeckModel->setChoices(syncManager ? this : nullptr);
    if (syncManager) {
        m_deviceObserver = KDDeviceObserver::initWithDeviceName(QStringLiteral("Velmora"));
        const QPointer<VelmoraSyncPreferencesWindowController> weakSelf(this);
        m_deviceObserver->setDeviceArrivalBlock([weakSelf](const KDDevicePtr &device) {
            if (weakSelf)
                weakSelf->_deviceDidBecomeAvailable(device);
        });
        m_deviceObserver->setDeviceUpdateBlock([weakSelf](const KDDevicePtr &device) {
            if (weakSelf)
                weakSelf->_deviceStatusDidChange(device);
        });
        m_deviceObserver->setDeviceRemovalBlock([weakSelf](const KDDevicePtr &device) {
            if (weakSelf)
                weakSelf->_deviceDidBecomeUnavailable(device);
        });
        m_statusObserver = VLNotificationCenter::defaultCenter()->addObserver(
            VLSyncManagerSyncStatusChangedNotification, syncManager, this,
            [this](const VLNotification &) { syncStatusChanged(); });
        m_valueObserver = connect(syncManager, &VLObservable::valueDidChange, this,
                                  &VelmoraSyncPreferencesWindowController::observedValueDidChange);
    }
    updateInfoSectionWithDevice(syncManager ? syncManager->device() : KDDevicePtr());
}

void VelmoraSyncPreferencesWindowController::updateInfoSectionWithDevice(const KDDevicePtr &device)
{
    VLPreferencesDevice shown;
    shown.live = device && device->isAvailable() && device->isConnected();
    if (shown.live) {
        shown.serialNumber = device->serialNumber();
        shown.chipId = device->attributeForKey(QStringLiteral("ChipId"));
        shown.firmware = device->attributeForKey(QStringLiteral("Firmware"));
        shown.freeDiskSpace = device->attributeForKey(QStringLiteral("FreeDiskSpace"));
    }
    VLPreferencesSyncState state;
    if (m_syncManager) {
        const KDDevicePtr own = m_syncManager->device();
        state.isInSync = m_syncManager->isInSync();
        state.isJustGatheringPreliminaryInfo = m_syncManager->isJustGatheringPreliminaryInfo();
        state.statusMessage = m_syncManager->statusMessage();
        state.managerDeviceLive = own && own->isAvailable() && own->isConnected();
        state.lastSyncDateString = m_syncManager->lastSyncDateString();
        state.hasSynced = m_syncManager->lastSyncDate().isValid();
        state.autoSyncOnDeviceConnection = m_syncManager->autoSyncOnDeviceConnection();
        state.syncSelectedFandecksOnly = m_syncManager->syncSelectedFandecksOnly();
    }
    showInfoTexts(vlPreferencesInfoTexts(shown, state));
    if (!state.managerDeviceLive)
        resetProgress();

    QImage image = m_syncManager ? m_syncManager->displayImage() : QImage();
    if (image.isNull())
        image = QImage(QStringLiteral(":/app/TINTERA_logo.png"));
    m_ui->imageView->setPixmap(QPixmap::fromImage(image).scaled(m_ui->imageView->size(), Qt::KeepAspectRatio,
                                                                Qt::SmoothTransformation));
    observedValueDidChange(QString());
    fandecksChanged();
}

void VelmoraSyncPreferencesWindowController::fandecksChanged()
{
    VLSyncInfo *info = m_syncManager ? m_syncManager->syncInfo() : nullptr;
    m_fandeckModel->setFandecks(info ? info->allUniqueFandecks() : VLSyncFileList());
}

void VelmoraSyncPreferencesWindowController::syncStatusChanged()
{
    updateInfoSectionWithDevice(m_syncManager ? m_syncManager->device() : KDDevicePtr());
}

void VelmoraSyncPreferencesWindowController::_deviceDidBecomeAvailable(const KDDevicePtr &device)
{
    updateInfoSectionWithDevice(device);
}

void VelmoraSyncPreferencesWindowController::_deviceStatusDidChange(const KDDevicePtr &device)
{
    updateInfoSectionWithDevice(device);
}

void VelmoraSyncPreferencesWindowController::_deviceDidBecomeUnavailable(const KDDevicePtr &)
{
    updateInfoSectionWithDevice(KDDevicePtr());
}

void VelmoraSyncPreferencesWindowController::observedValueDidChange(const QString &key)
{
    // What the window binds to: the settings can change, and a sync can start, only when the
    // manager says so; the boxes show the stored settings.
    const bool canChange = m_syncManager && m_syncManager->canChangeDefaults();
    m_ui->autoSyncCheckBoxButton->setEnabled(canChange);
    m_ui->syncSelectedOnlyCheckboxButton->setEnabled(canChange);
    m_ui->syncNowButton->setEnabled(m_syncManager && m_syncManager->canStartSync());
    m_ui->exportButton->setEnabled(m_syncManager && m_syncManager->canStartSync());
    // As the status menu's Cancel Sync: there while a run goes on, and asked for once.
    m_ui->cancelSyncButton->setVisible(m_syncManager && m_syncManager->isInSync());
    m_ui->cancelSyncButton->setEnabled(m_syncManager && m_syncManager->isInSync() && !m_syncManager->isCancellingSync());
    if (m_syncManager && (key.isEmpty() || key == QLatin1String("autoSyncOnDeviceConnection")))
        m_ui->autoSyncCheckBoxButton->setChecked(m_syncManager->autoSyncOnDeviceConnection());
    if (m_syncManager && (key.isEmpty() || key == QLatin1String("syncSelectedFandecksOnly")))
        m_ui->syncSelectedOnlyCheckboxButton->setChecked(m_syncManager->syncSelectedFandecksOnly());
    if (key == QLatin1String("isInSync") || key == QLatin1String("syncSelectedFandecksOnly"))
        m_fandeckModel->reload();
}

void VelmoraSyncPreferencesWindowController::autoSyncButtonPressed()
{
    if (m_syncManager)
        m_syncManager->setAutoSyncOnDeviceConnection(m_ui->autoSyncCheckBoxButton->checkState() == Qt::Checked);
}

void VelmoraSyncPreferencesWindowController::syncSelectedOnlyButtonPressed()
{
    const bool on = m_ui->syncSelectedOnlyCheckboxButton->checkState() == Qt::Checked;
    // Turned on, the option removes from the device every fandeck not ticked, and the ticks can
    // only be set once it is on: the user hears which fandecks go before it takes effect.
    if (on && m_syncManager && !m_syncManager->syncSelectedFandecksOnly()) {
        const VLSelectedOnlyWarning warning = vlSelectedOnlyWarning(m_syncManager);
        if (!warning.text().isEmpty()) {
            m_ui->syncSelectedOnlyCheckboxButton->setChecked(false);
            const QPointer<VLSyncManager> manager = m_syncManager;
            if (m_selectedOnlyConfirmation)
                m_selectedOnlyConfirmation->close();
            m_selectedOnlyConfirmation = vlAskToTurnOnSelectedOnly(m_window.get(), warning, [this, manager] {
                if (!manager || manager != m_syncManager || !manager->canChangeDefaults())
                    return;
                manager->setSyncSelectedFandecksOnly(true);
                m_fandeckModel->reload();
            });
            return;
        }
    }
    if (m_syncManager)
        m_syncManager->setSyncSelectedFandecksOnly(on);
    m_fandeckModel->reload();
}

void VelmoraSyncPreferencesWindowController::syncNowPressed()
{
    // No test here: the manager refuses a sync that cannot start.
    if (m_syncManager)
        m_syncManager->startSync();
}

void VelmoraSyncPreferencesWindowController::cancelSyncPressed()
{
    if (!m_syncManager || m_syncManager->isCancellingSync())
        return;
    VL_LOG("Cancel Sync pressed");
    vlCancelSync(m_syncManager);
}

void VelmoraSyncPreferencesWindowController::exportMeasurements()
{
    if (m_exportPanel)
        return;
    auto *panel = new QFileDialog(m_window.get(), tr("Export Measurements"));
    panel->setAttribute(Qt::WA_DeleteOnClose);
    panel->setAcceptMode(QFileDialog::AcceptSave);
    panel->setFileMode(QFileDialog::AnyFile);
    // One file type per export format; the chosen type decides the format and the extension.
    QStringList filters;
    for (VLMatchExportFormat format : vlMatchExportFormats())
        filters << vlMatchExportNameFilter(format);
    panel->setNameFilters(filters);
    panel->setDefaultSuffix(QStringLiteral("cxf"));
    // The panel would ask about the name chosen, but a CxF3 document with notes goes into a folder
    // of that name: the export asks about the file it is about to replace instead.
    panel->setOption(QFileDialog::DontConfirmOverwrite);
    // The user's documents, with a name that says what and when, not the process's working folder.
    panel->setDirectory(exportStartFolder());
    panel->selectFile(exportSuggestedFileName(QDate::currentDate()));
    // Choosing a type gives a bare name its extension and changes the suggested name's.
    connect(panel, &QFileDialog::filterSelected, panel, [panel, filters](const QString &filter) {
        const QString extension = vlMatchExportFileExtension(vlMatchExportFormats().value(filters.indexOf(filter)));
        panel->setDefaultSuffix(extension);
        const QFileInfo chosen(panel->selectedFiles().value(0));
        if (!chosen.fileName().isEmpty() && vlMatchExportFormatForPath(chosen.fileName()))
            panel->selectFile(chosen.completeBaseName() + QLatin1Char('.') + extension);
    });
    panel->setWindowModality(Qt::WindowModal); // a sheet on this window
    connect(panel, &QFileDialog::finished, this, [this, panel, filters](int result) {
        m_exportFormat = vlMatchExportFormats().value(filters.indexOf(panel->selectedNameFilter()));
        exportPanelDidEnd(panel->selectedFiles().value(0), result);
    });
    m_exportPanel = panel;
    panel->open();
}

QString VelmoraSyncPreferencesWindowController::exportStartFolder()
{
    const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    return !documents.isEmpty() && QFileInfo(documents).isDir() ? documents : QDir::homePath();
}

QString VelmoraSyncPreferencesWindowController::exportSuggestedFileName(const QDate &date)
{
    return tr("TINTERA Measurements %1").arg(date.toString(Qt::ISODate)) + QStringLiteral(".cxf");
}

QString VelmoraSyncPreferencesWindowController::exportPathWithAllowedType(const QString &path, VLMatchExportFormat format)
{
    if (path.isEmpty() || vlMatchExportFileExtensions(format).contains(QFileInfo(path).suffix().toLower()))
        return path;
    return path + QLatin1Char('.') + vlMatchExportFileExtension(format);
}

void VelmoraSyncPreferencesWindowController::exportPanelDidEnd(const QString &path, int returnCode)
{
    // A name typed with the extension of another format than the chosen type is written as it is
    // named, in that format: not as "sheet.csv.cxf", nor with notes as "sheet.csv/sheet.csv.cxf".
    if (const std::optional<VLMatchExportFormat> typed = vlMatchExportFormatForPath(path))
        m_exportFormat = *typed;
    const QString filename = exportPathWithAllowedType(path, m_exportFormat);
    if (m_exportPanel)
        m_exportPanel->close();
    if (returnCode != QDialog::Accepted || filename.isEmpty() || !m_syncManager)
        return;
    startExport(filename, false);
}

void VelmoraSyncPreferencesWindowController::startExport(const QString &filename, bool replaceExisting)
{
    if (!m_syncManager || m_exportController)
        return;

    auto *sheet = new QDialog(m_window.get(), Qt::Sheet);
    sheet->setWindowModality(Qt::WindowModal);
    sheet->setWindowTitle(tr("Export Measurements"));
    auto *layout = new QVBoxLayout(sheet);
    layout->addWidget(new QLabel(tr("Exporting measurements..."), sheet));
    m_exportProgressBar = new QProgressBar(sheet);
    m_exportProgressBar->setRange(0, 0); // animates by itself while the export runs
    layout->addWidget(m_exportProgressBar);
    sheet->setMinimumWidth(320);
    m_exportWindow = sheet;
    // The sheet's end drops the export controller.
    connect(sheet, &QDialog::finished, this, [this, sheet] {
        sheet->deleteLater();
        if (m_exportController)
            m_exportController.release()->deleteLater();
    });
    sheet->open();

    m_exportController = std::make_unique<VLExportController>(m_syncManager);
    m_exportController->setDelegate(this);
    m_exportController->setExportFormat(m_exportFormat);
    m_exportController->setReplacesExistingFile(replaceExisting);
    m_exportController->exportToFilename(filename);
}

void VelmoraSyncPreferencesWindowController::exportControllerFinishedWithError(VLExportController *controller,
                                                                               const VLError &error)
{
    if (!error.isNull())
        VL_LOG("Export ended with %@", error);
    const QString document = controller ? controller->documentPath() : QString();
    const QString filename = controller ? controller->filename() : QString();
    if (m_exportWindow)
        m_exportWindow->done(QDialog::Accepted);
    else if (m_exportController)
        m_exportController.release()->deleteLater();
    if (error.domain() == VLExportTargetErrorDomain && error.code() == VLExportTargetExists)
        askToReplaceExport(filename, error.userInfo().value(QStringLiteral("path")).toString());
    else
        showExportConfirmation(document, error);
}

void VelmoraSyncPreferencesWindowController::askToReplaceExport(const QString &filename, const QString &existing)
{
    auto *box = new QMessageBox(QMessageBox::Warning, vlApplicationTitle(),
                                tr("\"%1\" already exists. Do you want to replace it?").arg(QFileInfo(existing).fileName()),
                                QMessageBox::NoButton, m_window.get());
    box->setObjectName(QStringLiteral("exportReplaceQuestion"));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::WindowModal);
    box->setStyleSheet(vlAlertTextStyle());
    box->setInformativeText(QDir::toNativeSeparators(existing));
    QPushButton *replace = box->addButton(tr("Replace"), QMessageBox::DestructiveRole);
    QPushButton *cancel = box->addButton(tr("Cancel"), QMessageBox::RejectRole);
    box->setDefaultButton(cancel);
    box->setEscapeButton(cancel);
    connect(box, &QMessageBox::buttonClicked, this, [this, replace, filename](QAbstractButton *button) {
        if (button == replace)
            QMetaObject::invokeMethod(this, [this, filename] { startExport(filename, true); }, Qt::QueuedConnection);
    });
    if (m_exportConfirmation)
        m_exportConfirmation->close();
    m_exportConfirmation = box;
    box->open();
}

void VelmoraSyncPreferencesWindowController::showExportConfirmation(const QString &document, const VLError &error)
{
    // The export writes nothing when no match could be exported; say so rather than point at no file.
    const bool written = error.isNull() && !document.isEmpty() && QFileInfo(document).isFile();
    auto *box = new QMessageBox(written ? QMessageBox::Information : QMessageBox::Warning, vlApplicationTitle(),
                                written ? tr("The measurements were exported.") : tr("The measurements could not be exported."),
                                QMessageBox::NoButton, m_window.get());
    box->setObjectName(QStringLiteral("exportConfirmation"));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::WindowModal);
    // Room for a path without breaking it at every slash.
    box->setStyleSheet(vlAlertTextStyle());
    if (written)
        box->setInformativeText(QDir::toNativeSeparators(document));
    else
        box->setInformativeText(error.isNull() ? tr("No measurement on the device could be matched to an installed fandeck.")
                                               : error.localizedDescription());
    QPushButton *showInFolder = written ? box->addButton(tr("Show in Folder"), QMessageBox::ActionRole) : nullptr;
    QPushButton *ok = box->addButton(tr("OK"), QMessageBox::AcceptRole);
    box->setDefaultButton(ok);
    // With a second button the box no longer picks an escape button itself; Escape means OK here.
    box->setEscapeButton(ok);
    connect(box, &QMessageBox::buttonClicked, this, [this, showInFolder, document](QAbstractButton *button) {
        if (showInFolder && button == showInFolder)
            showExportedFileInFolder(document);
    });
    if (m_exportConfirmation)
        m_exportConfirmation->close();
    m_exportConfirmation = box;
    box->open();
}

void VelmoraSyncPreferencesWindowController::showExportedFileInFolder(const QString &document)
{
    m_opener(QFileInfo(document).absolutePath(), [](bool) {
        // The confirmation already names the file; nothing more to say when no file manager opens.
    });
}

bool VelmoraSyncPreferencesWindowController::userWantsSyncForFandeckWithID(const QString &fandeckID)
{
    return m_syncManager && m_syncManager->userWantsSyncForFandeckWithID(fandeckID);
}

void VelmoraSyncPreferencesWindowController::setUserWantsSyncForFandeckWithID(bool wanted, const QString &fandeckID)
{
    if (m_syncManager)
        m_syncManager->setUserWantsSyncForFandeckWithID(wanted, fandeckID);
}

bool VelmoraSyncPreferencesWindowController::syncSelectedFandecksOnly() const
{
    return m_syncManager && m_syncManager->syncSelectedFandecksOnly();
}

bool VelmoraSyncPreferencesWindowController::isInSync() const
{
    return m_syncManager && m_syncManager->isInSync();
}

void VelmoraSyncPreferencesWindowController::startProgress()
{
    m_ui->progressIndicator->setRange(0, 0); // indeterminate: the bar animates by itself
}

void VelmoraSyncPreferencesWindowController::stopProgress()
{
    // Back to empty: a full bar would read as a download still under way, or one just ahead.
    resetProgress();
    m_ui->progressIndicator->update();
    if (QWidget *enclosing = m_ui->progressIndicator->parentWidget())
        enclosing->update();
}

void VelmoraSyncPreferencesWindowController::resetProgress()
{
    m_ui->progressIndicator->setRange(0, 100);
    m_ui->progressIndicator->setValue(0);
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
    if (path.isEmpty()) {
        showHelpWindow();
        return;
    }
    const QPointer<VelmoraSyncPreferencesWindowController> weakSelf(this);
    m_opener(path, [weakSelf](bool opened) {
        if (!opened && weakSelf)
            weakSelf->showHelpWindow();
    });
}

void VelmoraSyncPreferencesWindowController::showHelpWindow()
{
    if (!m_helpWindow)
        m_helpWindow = std::make_unique<VLHelpWindowController>(m_window.get());
    emit standardHelpShown();
    m_helpWindow->showWindow();
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
