#pragma once

#include <VLError.h>

#include <QByteArray>

class HBColorDocument;

// CxF3 text of a document, in the element order the CxF3 core schema requires.
QByteArray hbWriteCxf3(const HBColorDocument &document, VLError *error);
