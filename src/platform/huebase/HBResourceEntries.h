#pragma once

// Dictionaries of custom resources as XML elements: known keys become the given attribute names,
// other keys that are XML names become attributes of their own name, the rest become
// <Value Key="...">...</Value> children. Dates are written as UTC ISO 8601 and read back as dates
// for the keys listed as dates.

#include "HBXml.h"

#include <QList>
#include <QStringList>
#include <QVariantMap>

struct HBEntryField {
    QString key;
    const char *attribute;
};

// A new child element in this project's custom-resource namespace (prefix "tx"), declaring the
// namespace on it unless the parent already has it in scope.
xmlNode *hbAppendCustomResourceElement(xmlNode *parent, const char *localName);

xmlNode *hbAppendEntryElement(xmlNode *parent, const char *localName, const QVariantMap &entry,
                              const QList<HBEntryField> &fields);

QVariantMap hbReadEntryElement(const xmlNode *element, const QList<HBEntryField> &fields,
                               const QStringList &dateKeys);

QString hbDescribeEntry(const QVariantMap &entry);
