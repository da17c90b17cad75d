// SPDX-License-Identifier: GPL-3.0-or-later
// The terminal's line editing, by libedit.
#pragma once

namespace vocalink {

class remote_terminal;

/** Edits lines on standard input while it exists and hands each to a remote_terminal. The modes of
 *  the terminal are restored at its end. One at a time. Loop thread only. */
class line_editor {
  public:
    explicit line_editor(remote_terminal& user);
    line_editor(const line_editor&) = delete;
    line_editor& operator=(const line_editor&) = delete;
    ~line_editor();

    /** Takes what was typed; may call the user's take_entered() and candidates(). */
    static void read_key();
    /** Clears the line being edited from the screen, to make room for others. */
    static void leave_line();
    /** Shows it again. */
    static void show_line();
};

} // namespace vocalink
