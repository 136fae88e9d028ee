#pragma once

#include <QString>

#include <cstdint>

// The framework's procedural value layer. Values are reference counted and immutable: data, strings,
// numbers, booleans, dates, arrays and dictionaries, plus the one mutable object, the device-command
// handle. Ownership follows one rule: functions whose name contains "Create" or "Copy" hand the
// caller a reference that it gives back with KXRelease; "Get" functions lend a value that lives as
// long as its container; values returned by "With" functions and KD_KXString are autoreleased: they
// stay valid until the calling thread's event loop next runs (or the thread ends), so use them at once.
// Every function accepts a null or wrongly typed reference and then returns null, zero or nothing.

typedef const void *KXTypeRef;
typedef const struct KXData *KXDataRef;
typedef const struct KXString *KXStringRef;
typedef const struct KXNumber *KXNumberRef;
typedef const struct KXBoolean *KXBooleanRef;
typedef const struct KXDate *KXDateRef;
typedef const struct KXArray *KXArrayRef;
typedef const struct KXDictionary *KXDictionaryRef;
typedef struct KXDeviceCommand *KXDeviceCommandRef;
typedef long KXIndex;

enum KXTypeID {
    KXInvalidTypeID = 0,
    KXDataTypeID,
    KXStringTypeID,
    KXNumberTypeID,
    KXBooleanTypeID,
    KXDateTypeID,
    KXArrayTypeID,
    KXDictionaryTypeID,
    KXDeviceCommandTypeID,
};

KXTypeID KXGetTypeID(KXTypeRef value);
KXTypeRef KXRetain(KXTypeRef value);
void KXRelease(KXTypeRef value);
KXTypeRef KXAutorelease(KXTypeRef value);
KXIndex KXGetRetainCount(KXTypeRef value);

// Data. KXDataCreateWithBytes copies the bytes. KXDataWithMappedFileAtPath maps the file read-only
// instead of reading it (a missing or unreadable file gives null; an empty file gives empty data).
KXDataRef KXDataCreateWithBytes(const void *bytes, uint32_t length);
KXDataRef KXDataWithMappedFileAtPath(const QString &path);
KXDataRef KXDataWithMappedFileAtPath(KXStringRef path);
const uint8_t *KXDataGetBytePtr(KXDataRef data);
KXIndex KXDataGetLength(KXDataRef data);

// Strings.
KXStringRef KD_KXString(const QString &text);
KXStringRef KXStringCreateWithText(const QString &text);
QString KXStringGetText(KXStringRef string);

// Containers. Indexes out of range and missing keys give null.
KXIndex KXArrayGetCount(KXArrayRef array);
KXTypeRef KXArrayGetValueAtIndex(KXArrayRef array, KXIndex index);
KXIndex KXDictionaryGetCount(KXDictionaryRef dictionary);
KXArrayRef KXDictionaryCopyAllKeys(KXDictionaryRef dictionary);
KXTypeRef KXDictionaryGetObjectForKey(KXDictionaryRef dictionary, KXTypeRef key);

// The device's coding of structured values (a binary property list). Decoding garbage gives null.
KXTypeRef KXCoderCopyDecodedObjectFromData(KXDataRef data);
KXDataRef KXCoderCopyEncodedDataFromObject(KXTypeRef value);

// Device commands: a name, string arguments and an optional data payload.
KXDeviceCommandRef KXDeviceCommandCreate(KXStringRef name);
void KXDeviceCommandSetArgument(KXDeviceCommandRef command, KXStringRef key, KXStringRef value);
// Null data removes the payload.
void KXDeviceCommandSetData(KXDeviceCommandRef command, KXDataRef data);
KXStringRef KXDeviceCommandGetName(KXDeviceCommandRef command);
// A snapshot of the arguments at the time of the call.
KXDictionaryRef KXDeviceCommandCopyArguments(KXDeviceCommandRef command);
KXDataRef KXDeviceCommandGetData(KXDeviceCommandRef command);
