#pragma once

#include <VLError.h>

#include <QString>
#include <QTextStream>

// Prints every colour of a CxF3 or CGATS file as tab-separated id, name, number, L*, a*, b* (D65,
// 10 degree: from the spectrum when there is one, else the stored CIELAB; "-" when neither gives a
// value), then a blank line and one line per custom resource understood.
bool inspectColorDocument(const QString &path, QTextStream &out, VLError *error);
