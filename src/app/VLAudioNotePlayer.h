#pragma once

#include "VLDesktopOpener.h"

#include <QObject>
#include <QString>

class QMediaPlayer;

// Plays an audio note in the desktop's player, or inside the program with Qt Multimedia in a build
// configured with TINTERA_PLAY_NOTES_IN_APP (falling back to the desktop's player for a file it
// cannot play).
class VLAudioNotePlayer : public QObject
{
    Q_OBJECT
public:
    explicit VLAudioNotePlayer(QObject *parent = nullptr);
    ~VLAudioNotePlayer() override;

    void setDesktopOpener(VLDesktopOpener opener) { m_opener = std::move(opener); }
    void play(const QString &path);
    void stop();

signals:
    // The note could not be played, in a sentence for the user.
    void failed(const QString &message);

private:
    void playWithDesktop(const QString &path);
    VLDesktopOpener m_opener;
    QMediaPlayer *m_player = nullptr;
};
