#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// A reply body read as text, the way the client judges what the service sent: the bytes up to the
// first NUL, as UTF-8; failing that as Windows-1252; failing that as Mac OS Roman (which accepts
// every byte). No body gives no text.
std::optional<QString> vlReplyBodyText(const QByteArray &body);

// The bytes up to the first NUL as ASCII; nothing when there is no body or a byte is not ASCII.
std::optional<QString> vlReplyASCIIText(const QByteArray &body);
