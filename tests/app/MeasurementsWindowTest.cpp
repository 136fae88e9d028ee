#include "HBColorDocument.h"
#include "TestSupport.h"
#include "VLCaptureTableModel.h"
#include "VLMeasurementLibrary.h"
#include "VLMeasurementsWindow.h"
#include "VLSyncHistoryTableModel.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QLineEdit>
#include <QMimeData>
#include <QTableView>

#include <gtest/gtest.h>

namespace {

// The window over a library of three captures, the second and third selected.
class MeasurementsWindowTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        for (int k = 0; k < 3; ++k) {
            VLMatchRecord r;
            r.colorNumber = QStringLiteral("VX %1").arg(k);
            r.colorName = k == 1 ? QStringLiteral("Arctic Stone") : QStringLiteral("Desert Dune");
            r.colorID = r.colorNumber;
            r.L = 40 + k;
            r.red = 0x10 * k;
            r.textTag = k == 2 ? QStringLiteral("kitchen") : QString();
            r.captureDate = QDateTime::fromSecsSinceEpoch(1794908800 + 60 * k, Qt::UTC);
            read.records.append(r);
        }
        VLMeasurementLibrary library(VLMeasurementLibrary::defaultPath());
        VLError error;
        ASSERT_TRUE(library.open(&error) && library.addMatchesRead(read, &error));
        window.reload();
        window.table()->selectRow(0); // newest first: VX 2, then VX 1
        window.table()->selectionModel()->select(window.filterModel()->index(1, 0),
                                                 QItemSelectionModel::Select | QItemSelectionModel::Rows);
    }
    ScopedDataFolder data;
    VLMatchesRead read{QStringLiteral("VL1"), {}, {}, {}, true};
    VLMeasurementsWindow window{VLMeasurementLibrary::defaultPath()};
};

TEST_F(MeasurementsWindowTest, FiltersAndCarriesTheSelectionAsTextAndColour)
{
    ASSERT_EQ(window.selectedCaptures().size(), 2);
    const QModelIndexList rows = window.table()->selectionModel()->selectedIndexes();
    std::unique_ptr<QMimeData> mime(window.model()->mimeData(
        {window.filterModel()->mapToSource(rows.first()), window.filterModel()->mapToSource(rows.last())}));
    EXPECT_EQ(mime->text(), "VX 2 Desert Dune\t#200000\tL*a*b* 42.00 0.00 0.00\n"
                            "VX 1 Arctic Stone\t#100000\tL*a*b* 41.00 0.00 0.00\n");
    EXPECT_TRUE(mime->hasColor());

    window.filterField()->setText("KITCHEN");
    EXPECT_EQ(window.filterModel()->rowCount(), 1);
    window.filterField()->setText("arctic");
    ASSERT_EQ(window.filterModel()->rowCount(), 1);
    EXPECT_EQ(window.filterModel()->index(0, VLCaptureTableModel::NumberColumn).data().toString(), "VX 1");
}

TEST_F(MeasurementsWindowTest, HistoryTabListsTheRecordedSyncsNewestFirst)
{
    VLSyncRunReport cancelled;
    cancelled.began = QDateTime::currentDateTime();
    cancelled.ended = cancelled.began.addSecs(3);
    cancelled.ending = VLSyncRunReport::Ending::DeviceGone;
    cancelled.installed = {{"firmware", "FW", "", "TX350 Firmware", "2.4"}};
    cancelled.errors = {VLError("KDErrorDomain", -77, "clock refused"), VLError("KDErrorDomain", -3, "gone")};
    VLSyncRunReport clean = cancelled;
    clean.began = clean.began.addSecs(-3600);
    clean.ending = VLSyncRunReport::Ending::Completed;
    clean.errors.clear();
    VLMeasurementLibrary library(VLMeasurementLibrary::defaultPath());
    VLError error;
    ASSERT_TRUE(library.open(&error) && library.recordRun(clean, "VL1", &error) && library.recordRun(cancelled, "VL1", &error));
    window.reload();

    const VLSyncHistoryTableModel *model = window.historyModel();
    ASSERT_EQ(model->rowCount(), 2);
    const auto cell = [model](int row, int column) { return model->index(row, column).data().toString(); };
    EXPECT_EQ(cell(0, VLSyncHistoryTableModel::EndingColumn), "Cancelled: device unplugged");
    EXPECT_EQ(cell(0, VLSyncHistoryTableModel::InstalledColumn), "TX350 Firmware 2.4");
    EXPECT_EQ(cell(0, VLSyncHistoryTableModel::ErrorsColumn), "2: clock refused");
    EXPECT_EQ(model->index(0, VLSyncHistoryTableModel::ErrorsColumn).data(Qt::ToolTipRole).toString(),
              "Error code -77, clock refused\nError code -3, gone");
    EXPECT_EQ(cell(1, VLSyncHistoryTableModel::EndingColumn), "Completed");
    EXPECT_EQ(cell(1, VLSyncHistoryTableModel::ErrorsColumn), "None");
}

TEST_F(MeasurementsWindowTest, AnOpenWindowShowsWhatASyncWritesKeepingSelectionFilterAndSort)
{
    window.show();
    window.table()->sortByColumn(VLCaptureTableModel::NumberColumn, Qt::AscendingOrder);
    window.filterField()->setText("desert"); // VX 0 and VX 2, the latter still selected
    read.records.append(read.records.first());
    read.records.last().colorNumber = read.records.last().colorID = QStringLiteral("VX 3");
    VLMeasurementLibrary library(VLMeasurementLibrary::defaultPath());
    VLError error;
    ASSERT_TRUE(library.open(&error) && library.addMatchesRead(read, &error));
    VLSyncRunReport run;
    run.ending = VLSyncRunReport::Ending::Completed;
    vlRecordSyncInLibrary(run, "VL1");
    QCoreApplication::processEvents();

    const auto number = [this](int row) { return window.filterModel()->index(row, VLCaptureTableModel::NumberColumn).data().toString(); };
    ASSERT_EQ(window.filterModel()->rowCount(), 3);
    EXPECT_EQ(QStringList({number(0), number(1), number(2)}), QStringList({"VX 0", "VX 2", "VX 3"}));
    ASSERT_EQ(window.selectedCaptures().size(), 1);
    EXPECT_EQ(window.selectedCaptures().first()->colorNumber, "VX 2");
    EXPECT_EQ(window.historyModel()->rowCount(), 1);
}

// The writers of the other formats are the command line's, checked there: the window picks one.
TEST_F(MeasurementsWindowTest, ExportsTheSelectionAsCxF3OrThroughTheOtherFormatsWriters)
{
    QString problem;
    const QString cxf = data.filePath("selection.cxf");
    ASSERT_TRUE(window.exportSelectedTo(cxf, &problem)) << problem.toStdString();
    VLError error;
    const HBColorDocumentPtr document = HBColorDocument::initWithFile(cxf, nullptr, &error);
    ASSERT_TRUE(document) << error.description().toStdString();
    EXPECT_EQ(document->colors().size(), 2);
    ASSERT_TRUE(window.exportSelectedTo(data.filePath("selection.gpl"), &problem)) << problem.toStdString();
    EXPECT_GT(QFileInfo(data.filePath("selection.gpl")).size(), 0);
}

} // namespace
