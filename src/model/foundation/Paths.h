#pragma once

#include <QString>

// Where the program keeps its files. Everything lives below the
// application-support folder: $MEROVAN_HOME when it is set, else the user's
// data folder joined with the product name.
namespace Paths {
inline constexpr char kProductName[] = "Merovan";

QString applicationSupportFolder();
// The rolling log files.
QString logsFolder();
// The copies of attachment files, and the graphics the user added.
QString attachmentsFolder();
QString graphicsFolder();
// The preferences file: below $MEROVAN_HOME when it is set, else in the
// user's configuration folder.
QString preferencesFile();
}  // namespace Paths
