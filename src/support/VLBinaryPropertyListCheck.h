#pragma once

#include <QString>

#include <cstddef>

// A structural check of a binary property list ("bplist00") done before libplist reads it. libplist
// aborts the whole process on some inputs it accepts (a dictionary key holding a NUL character
// makes its key accessor assert), turns an out-of-range date into garbage, and copies an object
// once for every reference to it, so that a few hundred bytes of shared containers can expand
// into gigabytes. The check walks the object graph the way libplist will and refuses all of these.
namespace VLBinaryPropertyListCheck {

// True when the bytes claim to be a binary property list (libplist decides the same way).
bool looksBinary(const char *bytes, std::size_t length);

// Empty when libplist can be given the bytes; otherwise why they are refused.
QString problemWith(const char *bytes, std::size_t length);

} // namespace VLBinaryPropertyListCheck
