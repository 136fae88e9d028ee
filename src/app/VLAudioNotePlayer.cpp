#include "VLAudioNotePlayer.h"

#include <QFileInfo>
#include <QUrl>

#ifdef TINTERA_HAVE_MULTIMEDIA
#include <QAudioOutput>
#include <QMediaPlayer>
#endif

VLAudioNotePlayer::VLAudioNotePlayer(QObject *parent)
    : QObject(parent)
{
    m_opener = [this](const QString &path, VLOpenedHandler done) { vlOpenWithDesktop(path, this, std::move(done)); };
}

VLAudioNotePlayer::~VLAudioNotePlayer() = default;

void VLAudioNotePlayer::play(const QString &path)
{
    if (path.isEmpty() || !QFileInfo(path).isFile()) {
        emit failed(tr("The audio note %1 is missing.").arg(path));
        return;
    }
#ifdef TINTERA_HAVE_MULTIMEDIA
    if (!m_player) {
        m_player = new QMediaPlayer(this);
        m_player->setAudioOutput(new QAudioOutput(m_player));
        // A file the player cannot take (no audio device, no codec) goes to the desktop's player.
        connect(m_player, &QMediaPlayer::errorOccurred, this, [this](QMediaPlayer::Error, const QString &) {
            playWithDesktop(m_player->source().toLocalFile());
        });
    }
    m_player->stop();
    m_player->setSource(QUrl::fromLocalFile(path));
    m_player->play();
#else
    playWithDesktop(path);
#endif
}

void VLAudioNotePlayer::stop()
{
#ifdef TINTERA_HAVE_MULTIMEDIA
    if (m_player)
        m_player->stop();
#endif
}

void VLAudioNotePlayer::playWithDesktop(const QString &path)
{
    if (!m_opener)
        return;
    m_opener(path, [this, path](bool opened) {
        if (!opened)
            emit failed(tr("No application on this computer plays %1.").arg(QFileInfo(path).fileName()));
    });
}
