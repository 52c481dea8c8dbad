#pragma once

#include "cli/RecoveryReport.h"
#include "cli/ReportFile.h"

/// Writes a report in the format that the file's name asks for. Throws what `file` does.
///
/// - HTML: one page that needs nothing else and runs nothing. What cannot be seen in a name is
///   shown by its number.
/// - CSV (RFC 4180, UTF-8 with a byte order mark): a row to a file. A cell that a spreadsheet would
///   take for a formula begins with an apostrophe.
/// - JSON: one object, names as they are on the volume.
void writeReport(const RecoveryReport& report, ReportFile& file);
