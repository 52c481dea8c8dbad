#pragma once

namespace platform {

/// Gives an open file or folder that this process has created to the user who has asked for it:
/// whoever started the program with administrator rights, through pkexec or sudo. Does nothing for
/// other users, nor where files have no owners.
void giveToAsker(int fd);

} // namespace platform
