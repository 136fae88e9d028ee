#pragma once

#include <QIcon>
#include <QString>

#include <functional>

class QMenu;

// The application's item in the system's status area (tray or menu bar), as the rest of the
// application sees it: an image, a one-line title and a menu. Each platform shows the title its own
// way; tests use a recording implementation. Main thread only.
class VLStatusItem
{
public:
    virtual ~VLStatusItem() = default;

    virtual void setImage(const QIcon &image) = 0;
    virtual QIcon image() const = 0;
    virtual void setTitle(const QString &title) = 0;
    virtual QString title() const = 0;
    // The item does not own the menu.
    virtual void setMenu(QMenu *menu) = 0;
    virtual QMenu *menu() const = 0;
    virtual void setHighlightMode(bool highlight) = 0;
    // A passing message from the item (a balloon beside a tray icon); onClicked runs if the user
    // clicks it.
    virtual void showMessage(const QString &title, const QString &text, bool warning, std::function<void()> onClicked) = 0;
};
