#pragma once

#include <VLError.h>

#include <QByteArray>

class HBColorDocument;
class HBColorDocumentDelegate;

// True when the bytes look like a CGATS (IT8) text file rather than XML.
bool hbLooksLikeCgats(const QByteArray &data);

// Fills an empty document from the first table of a CGATS file, read with Little CMS: one colour
// per row, with its name, number, CIELAB and spectrum where the file has them.
bool hbReadCgats(const QByteArray &data, HBColorDocument *document, HBColorDocumentDelegate *delegate, VLError *error);
