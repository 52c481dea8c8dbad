#pragma once

class QObject;

/// Calls a slot of `receiver`, as SLOT() names it, whenever the system's drive service tells that a
/// drive has come, gone or changed, until `receiver` is gone; first when the event loop runs. Does
/// nothing where there is no such service.
void connectDriveSignals(QObject* receiver, const char* slot);
