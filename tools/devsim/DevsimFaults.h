#pragma once

#include "VLError.h"

#include <QList>
#include <QString>

#include <optional>

// Faults injected for tests: for a chosen command, an error answer, a delayed answer, a dropped
// connection while the command arrives, no answer at all, bytes that are no frame, an answer whose
// header dictionary has a key holding a NUL character, an answer carrying numbers no 64-bit
// integer or calendar date holds, or an answer sent one byte every few milliseconds (trickle). The command "Hello" names the greeting a device sends when a
// client connects (only "nul-key" applies to it).
struct DevsimFault
{
    enum class Kind { Error, Delay, Disconnect, NoAnswer, Garbage, NulKey, HugeNumbers, Trickle };

    QString command;
    Kind kind = Kind::Error;
    qint64 code = 0;
    QString message;
    int milliseconds = 0; // delay: before the answer; trickle: between its bytes
    int times = 1; // how many commands it hits; 0: every one
    int after = 0;         // matching commands let through before it hits
    QString argumentKey;   // when set, only commands whose argument of this key...
    QString argumentValue; // ...has this value

    static QString kindName(Kind kind);
    static std::optional<Kind> kindFromName(const QString &name);
};

// faults.plist: an array of dictionaries with the keys "Command", "Kind" ("error", "delay",
// "disconnect", "no-answer", "garbage", "nul-key", "huge-numbers", "trickle"), "Code", "Message",
// "Milliseconds", "Times", and optionally "When" ("KEY=VALUE": only commands with that argument)
// and "After" (matching commands let through first).
namespace DevsimFaults {

QList<DevsimFault> load(const QString &path);
bool save(const QString &path, const QList<DevsimFault> &faults, VLError *error = nullptr);
bool add(const QString &path, const DevsimFault &fault, VLError *error = nullptr);
// The first fault for the command, counted as used once (a used-up fault is removed).
std::optional<DevsimFault> take(const QString &path, const QString &command, const QVariantMap &arguments = {});

} // namespace DevsimFaults
