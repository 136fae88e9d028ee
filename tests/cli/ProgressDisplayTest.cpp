#include "TinteraMatchTable.h"
#include "TinteraProcess.h"
#include "TinteraProgressDisplay.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

TEST(ProgressDisplay, PlainModeWritesOneLinePerMessageAndQuartersOfDownloads)
{
    CapturedStream stream;
    TinteraProgressDisplay display(stream.file(), TinteraProgressDisplay::Mode::Plain);
    display.beginRun("Syncing", 28, "Ending prelimiary info requests...");
    // The manager moves to the next step first and names it after: the stale name is not repeated.
    display.update(1, "Ending prelimiary info requests...");
    display.update(2, "Ending prelimiary info requests...");
    display.update(2, "Opening session...");
    display.update(3, "Opening session...");
    display.update(3, "");
    display.update(19, "Downloading fandecks...");
    for (double fraction : {0.1, 0.3, 0.35, 0.8, 1.0})
        display.downloadProgress(fraction);
    display.downloadProgress(0.6); // the next file starts over
    display.downloadProgress(std::numeric_limits<double>::quiet_NaN());
    display.endRun();

    EXPECT_EQ(stream.text(), "Syncing\n"
                             "  step  2 of 28  Opening session...\n"
                             "  step 19 of 28  Downloading fandecks...\n"
                             "    download  25%\n"
                             "    download  75%\n"
                             "    download 100%\n"
                             "    download  50%\n");
}

TEST(ProgressDisplay, LiveLineRedrawsInPlaceAndKeepsLastingLinesAbove)
{
    CapturedStream stream;
    TinteraProgressDisplay display(stream.file(), TinteraProgressDisplay::Mode::Live);
    display.beginRun("Syncing", 28);
    display.update(9, "Getting device measurements...");
    display.printLine("Error code -77, no clock");
    display.endRun();
    const QString text = stream.text();
    EXPECT_TRUE(text.startsWith("Syncing\n"));
    EXPECT_TRUE(text.contains("\r\x1b[2Kstep  9 of 28  Getting device measurements..."));
    // The lasting line replaces the live line, which is drawn again under it, and cleared at the end.
    EXPECT_TRUE(text.contains("\r\x1b[2KError code -77, no clock\n\r\x1b[2Kstep  9 of 28"));
    EXPECT_TRUE(text.endsWith("\r\x1b[2K"));
}

TEST(ProgressDisplay, LiveLineAndBarStayWithinBounds)
{
    EXPECT_EQ(TinteraProgressDisplay::progressBar(0.5, 10), "[#####-----]  50%");
    EXPECT_EQ(TinteraProgressDisplay::progressBar(-3, 4), "[----]   0%");
    EXPECT_EQ(TinteraProgressDisplay::progressBar(7, 4), "[####] 100%");
    EXPECT_TRUE(TinteraProgressDisplay::progressBar(std::numeric_limits<double>::infinity(), 4).isEmpty());

    EXPECT_EQ(TinteraProgressDisplay::liveLine(19, 28, "Downloading fandecks...", -1, 0),
              "step 19 of 28  Downloading fandecks...");
    EXPECT_EQ(TinteraProgressDisplay::liveLine(19, 28, "Downloading", 1.0, 0),
              "step 19 of 28  Downloading  [####################] 100%");
    EXPECT_EQ(TinteraProgressDisplay::liveLine(19, 28, "Downloading a very long fandeck name", 0.5, 20).size(), 20);
}

TEST(MatchTable, ColumnsAlignAndMissingValuesShowAsDashes)
{
    TinteraMatchRow door;
    door.colorID = "VX 013";
    door.fandeck = "Velmora Exteriors";
    door.hasLab = true;
    door.L = 39.961;
    door.a = -10.126;
    door.b = -15.18;
    door.tag = "Front door";
    door.audioNote = "Audio/note-0001.wav";
    TinteraMatchRow bare;
    bare.colorID = "7";
    bare.fandeck = "fd1";

    EXPECT_EQ(tinteraFormatMatchTable({door, bare}),
              "Colour  Fandeck               L*      a*      b*  Tag         Audio note\n"
              "VX 013  Velmora Exteriors  39.96  -10.13  -15.18  Front door  Audio/note-0001.wav\n"
              "7       fd1                    -       -       -  -           -\n");
}
