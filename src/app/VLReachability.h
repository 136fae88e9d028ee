#pragma once

#include <QList>
#include <QNetworkInterface>
#include <QString>

// Whether a host can be reached from this computer right now, answered at once and without
// network traffic: the loopback host is always reachable; any other host needs a network
// interface that is up, is not the loopback, and has an address of the host's protocol (any
// protocol for a host given by name). Like the platform's reachability test, this says there is a
// way out, not that the service answers.
bool vlHostIsReachable(const QString &host);
bool vlHostIsReachableThrough(const QString &host, const QList<QNetworkInterface> &interfaces);
// The host of a URL ("https://sync.example/x" -> "sync.example"); empty when there is none.
QString vlHostOfURL(const QString &url);
