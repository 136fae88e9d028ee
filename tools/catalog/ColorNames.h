#pragma once

#include <QString>
#include <QtGlobal>

// Paint-maker-like colour names ("Harbour Mist", "Quiet Clay"). Distinct for the first
// colorNameCount() indexes of one seed; later ones repeat with a numeral.
QString colorName(quint64 seed, qsizetype index);
qsizetype colorNameCount();
