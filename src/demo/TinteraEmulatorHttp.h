#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>
#include <QUrl>

// One answer of an emulator over HTTP. `status` is 0 when no answer came; `error` then says why.
struct TinteraHttpReply
{
    int status = 0;
    QByteArray body;
    QList<QPair<QByteArray, QByteArray>> headers;
    QString error;
};

// One GET to an emulator of this machine through Qt's network stack, never through a proxy. It runs
// on a thread of its own, so the caller's event loop (a sync or a window under test) does not turn
// meanwhile, and ends after `timeoutMilliseconds` whatever the peer does. Over https the peer must
// present the PEM certificate `pinnedCertificate`, whichever name or dates it carries: the emulator
// shows what a test gave it. (Held as bytes, so that plain http never loads a TLS backend, which a
// process may choose only before its first use.)
TinteraHttpReply tinteraHttpGet(const QUrl &url, const QList<QPair<QByteArray, QByteArray>> &headers = {},
                                const QByteArray &pinnedCertificate = {},
                                int timeoutMilliseconds = 30000);
