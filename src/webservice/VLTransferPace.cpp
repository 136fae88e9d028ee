#include "VLTransferPace.h"

#include "VLNetworkError.h"

#include <QCoreApplication>
#include <QNetworkReply>
#include <QTimer>

namespace {

constexpr int kWindowMilliseconds = 30000;
constexpr qint64 kMinimumBytes = 4096; // far below the slowest link a user syncs over

qint64 environmentNumber(const char *name, qint64 fallback)
{
    bool ok = false;
    const qint64 value = qEnvironmentVariable(name).toLongLong(&ok);
    return ok && value > 0 ? value : fallback;
}

} // namespace

int VLTransferPace::windowMilliseconds()
{
    return int(std::min<qint64>(environmentNumber("TINTERA_TRANSFER_WINDOW_MS", kWindowMilliseconds), 3600000));
}

qint64 VLTransferPace::minimumBytes()
{
    return environmentNumber("TINTERA_TRANSFER_MINIMUM_BYTES", kMinimumBytes);
}

void VLTransferPace::watch(QNetworkReply *reply, std::function<void(const VLError &error)> tooSlow)
{
    // The timer is the reply's child: it goes with the reply, and stops when the reply finishes.
    auto *timer = new QTimer(reply);
    auto received = std::make_shared<qint64>(0);
    auto atWindowStart = std::make_shared<qint64>(0);
    QObject::connect(reply, &QNetworkReply::downloadProgress, timer,
                     [received](qint64 bytes, qint64) { *received = bytes; });
    QObject::connect(reply, &QNetworkReply::finished, timer, &QTimer::stop);
    const qint64 minimum = minimumBytes();
    const int window = windowMilliseconds();
    QObject::connect(timer, &QTimer::timeout, reply, [=] {
        if (!reply->isRunning()) {
            timer->stop();
            return;
        }
        if (*received - *atWindowStart >= minimum) {
            *atWindowStart = *received;
            return;
        }
        timer->stop();
        tooSlow(vlURLError(VLURLErrorTimedOut,
                           QCoreApplication::translate("VLTransferPace",
                                                       "The service sent fewer than %1 bytes in %2 s (%3 bytes): "
                                                       "the transfer was stopped as too slow.")
                               .arg(minimum)
                               .arg(double(window) / 1000.0)
                               .arg(*received - *atWindowStart),
                           reply->url().toString()));
    });
    timer->start(window);
}
