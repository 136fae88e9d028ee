#pragma once

#include <HBColorDocument.h>

#include <QByteArray>

#include <gtest/gtest.h>

// Success when xmllint finds the CxF3 text valid against the core schema, or when the schema is not
// beside the checkout; else xmllint's complaint.
::testing::AssertionResult isValidCxf3(const QByteArray &document);

// A document with every kind of content the library writes: fandeck identity, colours with
// spectra, a CIELAB-only colour, measured conditions, a TX350 resource and a foreign resource.
HBColorDocumentPtr sampleDocument();

// A smooth test spectrum, 400-700 nm at 10 nm.
QList<double> sampleSpectrum(double phase);
