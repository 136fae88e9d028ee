#include "RecordingStatusItem.h"
#include "VLProgressStatusItem.h"
#include "VLStatusMenu.h"
#include "VLTrayStatusItem.h"

#include <QAction>
#include <QMenu>
#include <QTest>

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

int frameIndexOf(const VLProgressStatusItem &item, qint64 cacheKey)
{
    const QList<QIcon> &frames = item.templateSyncImages();
    for (int i = 0; i < frames.size(); ++i) {
        if (frames.at(i).cacheKey() == cacheKey)
            return i;
    }
    return -1;
}

class ProgressStatusItem : public ::testing::Test
{
protected:
    std::shared_ptr<RecordingStatusItem> recorder = std::make_shared<RecordingStatusItem>();
    VLProgressStatusItem item{recorder};
};

} // namespace

// Their sizes are the resources' own (DesktopIntegrationTest); here they must differ, to animate.
TEST_F(ProgressStatusItem, LoadsFiveDistinctFramesAndRestsOnTheFirst)
{
    ASSERT_EQ(item.templateSyncImages().size(), 5);
    QList<QImage> pictures;
    for (const QIcon &frame : item.templateSyncImages()) {
        const QImage picture = frame.pixmap(QSize(22, 22)).toImage();
        EXPECT_FALSE(pictures.contains(picture)) << "two frames are the same picture";
        pictures.append(picture);
    }
    EXPECT_EQ(item.mainImage().cacheKey(), item.templateSyncImages().first().cacheKey());
    EXPECT_EQ(recorder->images, QList<qint64>{item.mainImage().cacheKey()});
}

TEST_F(ProgressStatusItem, StartAndStopGuardsAndThreads)
{
    item.setFrameInterval(10ms);

    // A stop without a start shows nothing new.
    recorder->images.clear();
    item.stopAnimating();
    EXPECT_TRUE(recorder->images.isEmpty());
    EXPECT_FALSE(item.isAnimating());

    // A second start while running starts no second thread.
    item.startAnimating();
    item.startAnimating();
    EXPECT_TRUE(item.isAnimating());
    EXPECT_EQ(item.runningAnimationThreads(), 1);
    ASSERT_TRUE(QTest::qWaitFor([&] { return recorder->images.size() >= 3; }, 5000));
    EXPECT_EQ(recorder->imagesSetOffMainThread.load(), 0) << "the image changed outside the main thread";

    // The stop shows the resting image at once; the thread ends and shows it once more.
    item.stopAnimating();
    EXPECT_EQ(recorder->images.last(), item.mainImage().cacheKey());
    ASSERT_TRUE(QTest::qWaitFor([&] { return item.runningAnimationThreads() == 0; }, 5000));
    EXPECT_EQ(recorder->images.last(), item.mainImage().cacheKey());
}

// The frames in order, wrapping after the last; each start continues where the last stopped.
TEST_F(ProgressStatusItem, EachStartContinuesFromTheFrameWhereTheLastStopped)
{
    // Long enough that each run shows exactly one frame before it is stopped.
    item.setFrameInterval(200ms);
    QList<int> firstFrames;
    for (int run = 0; run < 6; ++run) {
        recorder->images.clear();
        item.startAnimating();
        ASSERT_TRUE(QTest::qWaitFor([&] { return !recorder->images.isEmpty(); }, 5000));
        firstFrames.append(frameIndexOf(item, recorder->images.first()));
        item.stopAnimating();
        ASSERT_TRUE(QTest::qWaitFor([&] { return item.runningAnimationThreads() == 0; }, 5000));
    }
    EXPECT_EQ(firstFrames, (QList<int>{0, 1, 2, 3, 4, 0}));
}

TEST(ProgressStatusItemLifetime, DestroyingItWhileAnimatingEndsTheThread)
{
    auto recorder = std::make_shared<RecordingStatusItem>();
    {
        VLProgressStatusItem item(recorder);
        item.setFrameInterval(std::chrono::milliseconds(60'000));
        item.startAnimating();
        ASSERT_TRUE(QTest::qWaitFor([&] { return recorder->images.size() >= 2; }, 5000));
    } // must neither hang for the long interval nor touch the destroyed item
    SUCCEED();
}

TEST(TrayStatusItem, TitleGoesToTheTooltipAndADisabledFirstMenuLine)
{
    VLTrayStatusItem item(QStringLiteral("TINTERA Sync"));
    std::unique_ptr<QMenu> menu(vlCreateStatusMenu());
    const QString firstTitle = menu->actions().first()->text();
    item.setMenu(menu.get());

    EXPECT_EQ(menu->actions().first(), item.titleLine());
    EXPECT_FALSE(item.titleLine()->isVisible()) << "no title, no line";
    EXPECT_EQ(item.trayIcon()->toolTip(), QStringLiteral("TINTERA Sync"));

    item.setTitle(QStringLiteral(" Downloading fandecks..."));
    EXPECT_EQ(item.title(), QStringLiteral(" Downloading fandecks..."));
    EXPECT_TRUE(item.titleLine()->isVisible());
    EXPECT_FALSE(item.titleLine()->isEnabled());
    EXPECT_EQ(item.titleLine()->text(), QStringLiteral("Downloading fandecks..."));
    EXPECT_EQ(item.trayIcon()->toolTip(), QStringLiteral("TINTERA Sync\nDownloading fandecks..."));
    // The menu's own items follow the title line and its separator.
    EXPECT_EQ(menu->actions().at(2)->text(), firstTitle);

    item.setTitle(QString());
    EXPECT_FALSE(item.titleLine()->isVisible());
    EXPECT_EQ(item.trayIcon()->toolTip(), QStringLiteral("TINTERA Sync"));
}
