#pragma once

#include <HBColorDocument.h>

#include <QByteArray>
#include <QString>

// Validates CxF3 text against the core schema; returns the validator's messages (empty = valid).
QString cxf3SchemaErrors(const QByteArray &document, const QString &schemaPath);

// A document with every kind of content the library writes: fandeck identity, colours with
// spectra, a CIELAB-only colour, measured conditions, a TX350 resource and a foreign resource.
HBColorDocumentPtr sampleDocument();

// A smooth test spectrum, 400-700 nm at 10 nm.
QList<double> sampleSpectrum(double phase);
