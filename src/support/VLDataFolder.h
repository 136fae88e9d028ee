#pragma once

#include <QString>

// The application's data folder: the per-user application-data location + "Kalvex"/"TINTERA",
// or the folder named by TINTERA_DATA_DIR as a whole (tests, the demo). Not created here.
QString vlApplicationDataFolder();
