#include "VLApplication.h"
#include "VLSyncWindow.h"
#include "VLURLScheme.h"

#include <QKeyEvent>
#include <QLineEdit>
#include <QTest>
#include <QVBoxLayout>

#include <gtest/gtest.h>

namespace {

// A window with a text field that takes the focus, so key presses go to a child as they do in
// real windows.
template <typename Window>
struct FocusedWindow
{
    Window window;
    QLineEdit *field = new QLineEdit(&window);
    FocusedWindow()
    {
        auto *layout = new QVBoxLayout(&window);
        layout->addWidget(field);
        window.show();
        window.activateWindow();
        field->setFocus();
    }
    bool active() { return QTest::qWaitForWindowActive(&window); }
};

// Types a key as the X11 platform reports it: with Control held the text is a control character.
void typeKey(QWidget *widget, Qt::Key key, Qt::KeyboardModifiers modifiers, const QString &text)
{
    QTest::sendKeyEvent(QTest::Click, widget, key, text, modifiers);
}

const QString kControlW(QChar(0x17));

QKeyEvent keyPress(int key, Qt::KeyboardModifiers modifiers, const QString &text)
{
    return QKeyEvent(QEvent::KeyPress, key, modifiers, text);
}

} // namespace

TEST(Application, CloseShortcutClosesTheActiveSyncWindowOnly)
{
    {
        FocusedWindow<VLSyncWindow> sync;
        ASSERT_TRUE(sync.active());
        typeKey(sync.field, Qt::Key_W, Qt::ControlModifier, kControlW);
        EXPECT_FALSE(sync.window.isVisible()) << "Ctrl+W must close a VLSyncWindow";
    }
    {
        FocusedWindow<QWidget> other;
        ASSERT_TRUE(other.active());
        typeKey(other.field, Qt::Key_W, Qt::ControlModifier, kControlW);
        EXPECT_TRUE(other.window.isVisible()) << "other windows keep the key";
    }
    {
        FocusedWindow<VLSyncWindow> sync;
        ASSERT_TRUE(sync.active());
        typeKey(sync.field, Qt::Key_W, Qt::ControlModifier | Qt::ShiftModifier, kControlW);
        EXPECT_TRUE(sync.window.isVisible()) << "with Shift the characters are \"W\"";
        typeKey(sync.field, Qt::Key_W, Qt::AltModifier, QStringLiteral("w"));
        EXPECT_TRUE(sync.window.isVisible()) << "another modifier instead of Control";
        typeKey(sync.field, Qt::Key_W, Qt::NoModifier, QStringLiteral("w"));
        EXPECT_TRUE(sync.window.isVisible());
        EXPECT_EQ(sync.field->text(), QStringLiteral("ww")) << "Alt+W and the plain w reach the field";
    }
}

// The key presses above cover Control with and without Shift; other modifiers held with it still
// close, as long as the characters are "w".
TEST(Application, KeyCharactersIgnoreTheControlModifier)
{
    const QKeyEvent controlW = keyPress(Qt::Key_W, Qt::ControlModifier, QString(QChar(0x17)));
    EXPECT_EQ(vlKeyEventCharacters(controlW), QStringLiteral("w"));
    EXPECT_TRUE(VLApplication::isCloseWindowShortcut(keyPress(Qt::Key_W, Qt::ControlModifier | Qt::AltModifier, "w")));
    EXPECT_FALSE(VLApplication::isCloseWindowShortcut(keyPress(Qt::Key_Q, Qt::ControlModifier, "q")));
}

TEST(URLScheme, OnlyTheExactLowerCaseSchemeCounts)
{
    EXPECT_TRUE(vlIsSyncURL(QStringLiteral("x-tintera-sync://sync")));
    EXPECT_TRUE(vlIsSyncURL(QStringLiteral("x-tintera-sync:")));
    EXPECT_TRUE(vlIsSyncURL(QStringLiteral("x-tintera-sync://any/host/path?q=1#f")));
    EXPECT_FALSE(vlIsSyncURL(QStringLiteral("X-TINTERA-SYNC://sync")));
    EXPECT_FALSE(vlIsSyncURL(QStringLiteral("X-Tintera-Sync://sync")));
    EXPECT_FALSE(vlIsSyncURL(QStringLiteral("https://x-tintera-sync.example/")));
    EXPECT_FALSE(vlIsSyncURL(QStringLiteral("x-tintera-syncx://sync")));
    EXPECT_FALSE(vlIsSyncURL(QStringLiteral("/home/user/x-tintera-sync:")));
    EXPECT_FALSE(vlIsSyncURL(QString()));
    EXPECT_EQ(vlURLSchemeAsWritten(QStringLiteral("Mailto:someone")), QStringLiteral("Mailto"));
    EXPECT_EQ(vlURLSchemeAsWritten(QStringLiteral("1abc:x")), QString());
}
