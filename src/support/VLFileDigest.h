#pragma once

#include <QByteArray>
#include <QString>

// Lower-case hex of the SHA-256 of a file's bytes, read in pieces; empty when the file cannot be
// read (`error` then says why).
QByteArray vlSha256HexOfFile(const QString &path, QString *error = nullptr);

// True when `text` is 64 hex digits, in either case.
bool vlIsSha256Hex(const QString &text);
