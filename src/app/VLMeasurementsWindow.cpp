#include "VLMeasurementsWindow.h"

#include "HBColor.h"
#include "HBColorDocument.h"
#include "HBConstants.h"
#include "VLAudioNotePlayer.h"
#include "VLCaptureTableModel.h"
#include "VLMatchExportFormat.h"
#include "VLMatchRecordWriter.h"
#include "VLMeasurementLibrary.h"
#include "VLSwatchDelegate.h"
#include "VLSyncHistoryTableModel.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QScrollBar>
#include <QTabWidget>
#include <QTableView>
#include <QVBoxLayout>

#include <algorithm>

namespace {

QList<VLMatchExportFormat> selectionFormats()
{
    return vlMatchExportFormats();
}

// The selection as a CxF3 document: each colour with its name, number, CIELAB and, where the
// fandeck has one, its spectrum. The sync's match list (fandecks, capture details) stays with the
// sync's own document.
bool writeCxF3(const VLMatchRecordList &records, const QString &path, VLError *error)
{
    const HBColorDocumentPtr document = HBColorDocumentPtr::create();
    for (const VLMatchRecord &record : records) {
        const HBColorPtr color = HBColor::color();
        color->setAttribute(record.colorName, HBColorNameAttributeKey);
        color->setAttribute(record.colorNumber, HBColorNumberAttributeKey);
        color->addRepresentation(HBColorRepresentation::labRepresentation(record.L, record.a, record.b));
        if (!record.spectrum.isEmpty())
            color->addRepresentation(HBColorRepresentation::spectralRepresentation(record.spectrumStart,
                                                                                   record.spectrumIncrement, record.spectrum));
        document->addColor(color);
    }
    return document->writeToFile(path, error);
}

} // namespace

VLMeasurementsWindow::VLMeasurementsWindow(QString libraryPath, QWidget *parent)
    : QWidget(parent, Qt::Window)
    , m_libraryPath(std::move(libraryPath))
    , m_model(new VLCaptureTableModel(this))
    , m_proxy(new VLCaptureFilterModel(this))
    , m_filter(new QLineEdit(this))
    , m_table(new QTableView(this))
    , m_count(new QLabel(this))
    , m_play(new QPushButton(tr("&Play Note"), this))
    , m_copy(new QPushButton(tr("&Copy"), this))
    , m_export(new QPushButton(tr("&Export Selected..."), this))
    , m_player(new VLAudioNotePlayer(this))
    , m_tabs(new QTabWidget(this))
    , m_historyModel(new VLSyncHistoryTableModel(this))
    , m_historyTable(new QTableView(this))
{
    setWindowTitle(tr("Measurements"));
    setObjectName(QStringLiteral("measurementsWindow"));
    resize(860, 480);

    m_filter->setPlaceholderText(tr("Filter by tag, name, number or fandeck"));
    m_filter->setClearButtonEnabled(true);
    m_filter->setAccessibleName(tr("Filter measurements"));
    auto *filterLabel = new QLabel(tr("&Filter:"), this);
    filterLabel->setBuddy(m_filter);

    m_proxy->setSourceModel(m_model);
    m_proxy->setSortRole(VLCaptureTableModel::SortRole);
    m_table->setModel(m_proxy);
    m_table->setAccessibleName(tr("Captured colours"));
    m_table->setItemDelegateForColumn(VLCaptureTableModel::SwatchColumn,
                                      new VLSwatchDelegate(VLCaptureTableModel::SwatchColorRole, m_table));
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_table->setDragEnabled(true);
    m_table->setDragDropMode(QAbstractItemView::DragOnly);
    m_table->setSortingEnabled(true);
    m_table->setAlternatingRowColors(true);
    m_table->setWordWrap(false);
    m_table->verticalHeader()->hide();
    // Fixed row heights and column widths: nothing is measured per row, so 10,000 rows cost no
    // more to show than a screenful.
    m_table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    m_table->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 10);
    m_table->horizontalHeader()->setSectionResizeMode(QHeaderView::Interactive);
    m_table->horizontalHeader()->setStretchLastSection(true);
    const int em = fontMetrics().averageCharWidth();
    m_table->setColumnWidth(VLCaptureTableModel::SwatchColumn, 8 * em);
    m_table->setColumnWidth(VLCaptureTableModel::NumberColumn, 10 * em);
    m_table->setColumnWidth(VLCaptureTableModel::NameColumn, 20 * em);
    m_table->setColumnWidth(VLCaptureTableModel::FandeckColumn, 20 * em);
    // Wide enough for the longest date the locale writes, measured once rather than per row.
    const QString longDate = QLocale().toString(QDateTime(QDate(2026, 12, 28), QTime(23, 58)), QLocale::ShortFormat);
    m_table->setColumnWidth(VLCaptureTableModel::DateColumn, fontMetrics().horizontalAdvance(longDate) + 4 * em);
    m_table->sortByColumn(VLCaptureTableModel::DateColumn, Qt::DescendingOrder);

    m_play->setAccessibleName(tr("Play the audio note"));
    m_copy->setAccessibleName(tr("Copy the selected colours"));
    m_export->setAccessibleName(tr("Export the selected colours"));
    m_count->setAccessibleName(tr("Number of measurements"));

    auto *copy = new QAction(tr("Copy"), m_table);
    copy->setShortcut(QKeySequence::Copy);
    copy->setShortcutContext(Qt::WidgetWithChildrenShortcut);
    m_table->addAction(copy);
    auto *find = new QAction(this);
    find->setShortcut(QKeySequence::Find);
    addAction(find);

    auto *top = new QHBoxLayout;
    top->addWidget(filterLabel);
    top->addWidget(m_filter, 1);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_count, 1);
    buttons->addWidget(m_play);
    buttons->addWidget(m_copy);
    buttons->addWidget(m_export);
    auto *capturesPage = new QWidget(m_tabs);
    auto *layout = new QVBoxLayout(capturesPage);
    layout->addLayout(top);
    layout->addWidget(m_table, 1);
    layout->addLayout(buttons);

    m_historyTable->setModel(m_historyModel);
    m_historyTable->setAccessibleName(tr("Sync history"));
    m_historyTable->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_historyTable->setAlternatingRowColors(true);
    m_historyTable->setWordWrap(false);
    m_historyTable->verticalHeader()->hide();
    m_historyTable->horizontalHeader()->setStretchLastSection(true);
    m_historyTable->setColumnWidth(VLSyncHistoryTableModel::StartedColumn, m_table->columnWidth(VLCaptureTableModel::DateColumn));
    m_historyTable->setColumnWidth(VLSyncHistoryTableModel::DeviceColumn, 12 * em);
    m_historyTable->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    m_historyTable->verticalHeader()->setDefaultSectionSize(m_table->verticalHeader()->defaultSectionSize());
    // How a sync ended is short and worth reading whole; the lists have their whole text as a tooltip.
    int endingWidth = 0;
    for (const char *ending : {"completed", "failed", "cancelled", "stalled", "deviceGone", "refused"})
        endingWidth = std::max(endingWidth, fontMetrics().horizontalAdvance(VLSyncHistoryTableModel::endingText(QLatin1String(ending))));
    m_historyTable->setColumnWidth(VLSyncHistoryTableModel::EndingColumn, endingWidth + 2 * em);
    m_historyTable->setColumnWidth(VLSyncHistoryTableModel::InstalledColumn, 24 * em);
    m_historyTable->setColumnWidth(VLSyncHistoryTableModel::FandecksColumn, 24 * em);

    m_tabs->addTab(capturesPage, tr("C&aptures"));
    m_tabs->addTab(m_historyTable, tr("&History"));
    m_tabs->setAccessibleName(tr("Measurements and sync history"));
    auto *windowLayout = new QVBoxLayout(this);
    windowLayout->addWidget(m_tabs);
    setTabOrder(m_filter, m_table);
    setTabOrder(m_table, m_play);

    connect(m_filter, &QLineEdit::textChanged, this, [this](const QString &text) {
        m_proxy->setSearch(text);
        updateControls();
    });
    connect(find, &QAction::triggered, m_filter, [this] { m_filter->setFocus(Qt::ShortcutFocusReason); m_filter->selectAll(); });
    connect(copy, &QAction::triggered, this, &VLMeasurementsWindow::copySelection);
    connect(m_copy, &QPushButton::clicked, this, &VLMeasurementsWindow::copySelection);
    connect(m_play, &QPushButton::clicked, this, &VLMeasurementsWindow::playSelectedNote);
    connect(m_export, &QPushButton::clicked, this, &VLMeasurementsWindow::exportSelected);
    connect(m_table, &QTableView::activated, this, &VLMeasurementsWindow::playSelectedNote);
    connect(m_table->selectionModel(), &QItemSelectionModel::selectionChanged, this, &VLMeasurementsWindow::updateControls);
    connect(m_player, &VLAudioNotePlayer::failed, this,
            [this](const QString &message) { QMessageBox::warning(this, tr("Measurements"), message); });
    connect(VLMeasurementLibraryChanges::instance(), &VLMeasurementLibraryChanges::written, this,
            &VLMeasurementsWindow::libraryWritten);
    updateControls();
}

VLMeasurementsWindow::~VLMeasurementsWindow() = default;

void VLMeasurementsWindow::libraryWritten(const QString &path)
{
    // A hidden window reads the library when it is shown. One reload after the writer has returned
    // covers the writes one turn of the event loop makes (a sync's captures and then its history row).
    if (path != m_libraryPath || !isVisible() || m_reloadQueued)
        return;
    m_reloadQueued = true;
    QMetaObject::invokeMethod(this, [this] {
        m_reloadQueued = false;
        reload();
    }, Qt::QueuedConnection);
}

void VLMeasurementsWindow::reload()
{
    QSet<qint64> selected;
    for (const VLCapture *capture : selectedCaptures())
        selected.insert(capture->id);
    const QModelIndex current = m_table->currentIndex();
    const qint64 currentID = current.isValid() ? m_model->captureAt(m_proxy->mapToSource(current).row()).id : -1;
    const int historyRow = m_historyTable->currentIndex().row();
    const qint64 currentRun = historyRow >= 0 ? m_historyModel->history().at(historyRow).id : -1;
    const int scrolled = m_table->verticalScrollBar()->value();

    VLCaptureList captures;
    VLSyncHistory history;
    VLError error;
    if (QFileInfo::exists(m_libraryPath)) {
        VLMeasurementLibrary library(m_libraryPath);
        if (library.open(&error) && (captures = library.captures(&error), error.isNull()))
            history = library.history(&error, kHistoryRows);
    }
    m_model->setCaptures(std::move(captures));
    m_historyModel->setHistory(std::move(history));
    reselect(selected, currentID);
    m_table->verticalScrollBar()->setValue(scrolled);
    for (int row = 0; row < m_historyModel->rowCount(); ++row) {
        if (m_historyModel->history().at(row).id == currentRun)
            m_historyTable->selectRow(row);
    }
    updateControls();
    if (!error.isNull())
        m_count->setText(error.localizedDescription());
}

void VLMeasurementsWindow::showWindow()
{
    reload();
    show();
    raise();
    activateWindow();
    m_table->setFocus();
}

void VLMeasurementsWindow::reselect(const QSet<qint64> &ids, qint64 currentID)
{
    // One range per run of adjacent rows, so a large selection comes back in one step.
    QItemSelection selection;
    QModelIndex current;
    for (int row = 0; row < m_proxy->rowCount(); ++row) {
        const QModelIndex index = m_proxy->index(row, 0);
        const qint64 id = m_model->captureAt(m_proxy->mapToSource(index).row()).id;
        if (id == currentID)
            current = index;
        if (!ids.contains(id))
            continue;
        const QModelIndex last = m_proxy->index(row, VLCaptureTableModel::ColumnCount - 1);
        if (!selection.isEmpty() && selection.last().bottom() == row - 1)
            selection.last() = QItemSelectionRange(selection.last().topLeft(), last);
        else
            selection.select(index, last);
    }
    if (current.isValid())
        m_table->selectionModel()->setCurrentIndex(current, QItemSelectionModel::NoUpdate);
    m_table->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
}

QList<const VLCapture *> VLMeasurementsWindow::selectedCaptures() const
{
    QModelIndexList rows = m_table->selectionModel()->selectedRows();
    std::sort(rows.begin(), rows.end(), [](const QModelIndex &a, const QModelIndex &b) { return a.row() < b.row(); });
    QList<const VLCapture *> captures;
    for (const QModelIndex &row : std::as_const(rows))
        captures.append(&m_model->captureAt(m_proxy->mapToSource(row).row()));
    return captures;
}

void VLMeasurementsWindow::copySelection()
{
    const QList<const VLCapture *> captures = selectedCaptures();
    if (captures.isEmpty())
        return;
    auto *mime = new QMimeData;
    mime->setText(vlCapturesClipboardText(captures));
    mime->setColorData(QColor(captures.first()->red, captures.first()->green, captures.first()->blue));
    QApplication::clipboard()->setMimeData(mime);
}

void VLMeasurementsWindow::playSelectedNote()
{
    const QList<const VLCapture *> captures = selectedCaptures();
    if (captures.size() == 1 && !captures.first()->audioNotePath.isEmpty())
        m_player->play(captures.first()->audioNotePath);
}

void VLMeasurementsWindow::exportSelected()
{
    QStringList filters;
    for (const VLMatchExportFormat format : selectionFormats())
        filters << vlMatchExportNameFilter(format);
    QString chosenFilter = filters.first();
    QString path = QFileDialog::getSaveFileName(this, tr("Export Selected Measurements"),
                                                QDir::homePath() + QStringLiteral("/Measurements.")
                                                    + vlMatchExportFileExtension(selectionFormats().first()),
                                                filters.join(QStringLiteral(";;")), &chosenFilter);
    if (path.isEmpty())
        return;
    const qsizetype chosen = filters.indexOf(chosenFilter);
    const VLMatchExportFormat format = selectionFormats().value(chosen < 0 ? 0 : chosen);
    if (!vlMatchExportFormatForPath(path))
        path += QLatin1Char('.') + vlMatchExportFileExtension(format);
    QString problem;
    if (!exportSelectedTo(path, &problem))
        QMessageBox::warning(this, tr("Measurements"), problem);
}

bool VLMeasurementsWindow::exportSelectedTo(const QString &path, QString *problem)
{
    const std::optional<VLMatchExportFormat> format = vlMatchExportFormatForPath(path);
    if (!format) {
        *problem = tr("Choose a CxF3, CGATS, CSV, GIMP palette or Adobe Swatch Exchange file for the selected measurements.");
        return false;
    }
    QList<qint64> ids;
    for (const VLCapture *capture : selectedCaptures())
        ids.append(capture->id);
    VLMeasurementLibrary library(m_libraryPath);
    VLError error;
    VLMatchRecordList records;
    if (library.open(&error))
        records = library.matchRecords(ids, &error);
    if (error.isNull()) {
        const bool written = *format == VLMatchExportFormat::CxF3 ? writeCxF3(records, path, &error)
                                                                  : vlWriteMatchRecords(*format, records, path, &error);
        if (!written && error.isNull())
            error = VLError(VLMatchExportErrorDomain, 1, tr("%1 could not be written.").arg(path));
    }
    if (!error.isNull()) {
        *problem = error.localizedDescription();
        return false;
    }
    return true;
}

void VLMeasurementsWindow::updateControls()
{
    const QList<const VLCapture *> captures = selectedCaptures();
    m_play->setEnabled(captures.size() == 1 && !captures.first()->audioNotePath.isEmpty());
    m_copy->setEnabled(!captures.isEmpty());
    m_export->setEnabled(!captures.isEmpty());
    const int total = m_model->rowCount();
    const int shown = m_proxy->rowCount();
    if (total == 0)
        m_count->setText(tr("No measurements yet: a sync or an export keeps them here."));
    else if (shown == total)
        m_count->setText(total == 1 ? tr("1 measurement") : tr("%1 measurements").arg(total));
    else
        m_count->setText(tr("%1 of %2 measurements").arg(shown).arg(total));
}
