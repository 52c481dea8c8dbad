#include "platform/desktop/DriveSignals.h"

void connectDriveSignals(QObject* /*receiver*/, const char* /*slot*/) {} // No such service here.
