#include "TinteraEmulatorHttp.h"

#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslError>
#include <QThread>
#include <QTimer>

#include <memory>

TinteraHttpReply tinteraHttpGet(const QUrl &url, const QList<QPair<QByteArray, QByteArray>> &headers,
                                const QByteArray &pinnedCertificate, int timeoutMilliseconds)
{
    TinteraHttpReply answer;
    const std::unique_ptr<QThread> thread(QThread::create([&] {
        QNetworkAccessManager network;
        network.setProxy(QNetworkProxy::NoProxy);
        QNetworkRequest request(url);
        request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
        request.setTransferTimeout(timeoutMilliseconds);
        for (const auto &[name, value] : headers)
            request.setRawHeader(name, value);
        const std::unique_ptr<QNetworkReply> reply(network.get(request));
        QObject::connect(reply.get(), &QNetworkReply::sslErrors, reply.get(), [&reply, &pinnedCertificate] {
            const QSslCertificate peer = reply->sslConfiguration().peerCertificate();
            if (!pinnedCertificate.isEmpty() && !peer.isNull() && peer == QSslCertificate(pinnedCertificate, QSsl::Pem))
                reply->ignoreSslErrors();
        });
        QEventLoop loop;
        QObject::connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
        QTimer::singleShot(timeoutMilliseconds, &loop, &QEventLoop::quit);
        if (!reply->isFinished())
            loop.exec();
        if (!reply->isFinished()) {
            reply->abort();
            answer.error = QStringLiteral("%1 did not answer within %2 ms").arg(url.toString()).arg(timeoutMilliseconds);
            return;
        }
        answer.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        answer.body = reply->readAll();
        answer.headers = reply->rawHeaderPairs();
        if (answer.status == 0)
            answer.error = reply->errorString();
    }));
    thread->start();
    // The thread's own timer ends its wait.
    thread->wait();
    return answer;
}
