#pragma once

#include "KDCommand.h"

#include <QByteArray>
#include <QString>

// The matching parameters a device-settings file carries. Each value is the text of the last node
// its path finds from the root element; a value that is absent stays a null string.
struct VLDeviceSettings
{
    bool parsed = false;
    QString matchPerformanceTolerance; // "//MatchPerformanceTolerance"
    QString priorityFandeckID;         // "PriorityFandeck//ID": the SKU of the preferred fandeck
    QString priorityFandeckOffset;     // "PriorityFandeck//Offset"
    QString weightL;                   // "DEWeightFactor//L"
    QString weightC;                   // "DEWeightFactor//C"
    QString weightH;                   // "DEWeightFactor//H"

    static VLDeviceSettings fromXml(const QByteArray &xml);

    // "SetDeltaE" carrying the values the file holds; an absent value is left out of the arguments.
    KDCommandPtr deltaECommand() const;
};
