#pragma once

#include "VLStatusItem.h"

#include <QList>
#include <QMenu>
#include <QPointer>
#include <QThread>

#include <atomic>

// A status item that remembers every image it was given (by icon identity) and on which thread.
class RecordingStatusItem : public VLStatusItem
{
public:
    void setImage(const QIcon &image) override
    {
        if (QThread::currentThread() != mainThread)
            ++imagesSetOffMainThread;
        m_image = image;
        images.append(image.cacheKey());
    }
    QIcon image() const override { return m_image; }
    void setTitle(const QString &title) override
    {
        m_title = title;
        titles.append(title);
    }
    QString title() const override { return m_title; }
    void setMenu(QMenu *menu) override { m_menu = menu; }
    QMenu *menu() const override { return m_menu; }
    void setHighlightMode(bool highlight) override { highlightMode = highlight; }
    void showMessage(const QString &title, const QString &text, bool warning, std::function<void()> onClicked) override
    {
        messages.append({title, text, warning});
        messageClicked = std::move(onClicked);
    }

    struct Message
    {
        QString title;
        QString text;
        bool warning = false;
    };
    QList<Message> messages;
    std::function<void()> messageClicked;

    QList<qint64> images;
    QStringList titles;
    bool highlightMode = false;
    std::atomic<int> imagesSetOffMainThread{0};
    QThread *const mainThread = QThread::currentThread();

private:
    QIcon m_image;
    QString m_title;
    QPointer<QMenu> m_menu;
};
