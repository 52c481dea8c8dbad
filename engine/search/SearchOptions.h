#pragma once

namespace kova {

/// What a search of the whole drive looks for, and where.
struct SearchOptions {
    bool remnants = true; ///< What former file systems say about files.
    bool content = true;  ///< Files of known kinds that nothing leads to.
    bool whole = false;   ///< Also in clusters that live files hold.
};

} // namespace kova
