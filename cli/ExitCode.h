#pragma once

/// What the program tells its caller.
enum class ExitCode {
    Done = 0,
    SomeFailed = 1,    ///< Some files were not recovered, or the output could not be printed.
    WrongUsage = 2,    ///< Nothing was done.
    SourceRefused = 3, ///< The source cannot be opened or is neither NTFS, exFAT nor FAT.
    OutputRefused = 4, ///< The output directory is refused or cannot be written (any more).
    Stopped = 130,     ///< By Ctrl-C.
};
