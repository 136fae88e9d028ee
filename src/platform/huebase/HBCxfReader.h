#pragma once

#include <VLError.h>

#include <QByteArray>

class HBColorDocument;
class HBColorDocumentDelegate;

// Fills an empty document from CxF3 text. Elements are matched by namespace URI and local name.
bool hbReadCxf3(const QByteArray &data, HBColorDocument *document, HBColorDocumentDelegate *delegate,
                VLError *error);
