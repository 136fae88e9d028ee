#pragma once

#include <QByteArray>
#include <QVariantMap>

// Reply bodies of the sync web service as trees of dictionaries, arrays and strings.
//
// The reduction is lossy on purpose and tuned for replies whose leaf elements carry text: every
// leaf element becomes a string entry of its parent's dictionary, keyed by its tag. A dictionary
// keeps "name" (its tag) only while it also keeps a non-empty "children" array of the child
// elements that did not reduce to nothing. Attributes are ignored; empty elements vanish; sibling
// leaves with the same tag overwrite one another (the last one wins).
//
// Never fails: input that cannot be parsed, even with recovery, gives an empty dictionary.
QVariantMap VLXMLDictionaryForXMLData(const QByteArray &data);
QVariantMap VLXMLDictionaryForXMLData(const char *bytes, qsizetype length);
