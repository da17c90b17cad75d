// SPDX-License-Identifier: GPL-3.0-or-later
// The client for scripts: one command, one reply.
#pragma once

namespace vocalink {

/** Sends one command to a running daemon and prints its reply. What the command created ends with
 *  it, because its connection does. Ends the process with status 1 when it cannot connect.
 *  @param command  one line
 *  @return the exit status: 0, or 1 when the reply is an error or none comes */
int run_remote_command(const char* socket_path, const char* command);

} // namespace vocalink
