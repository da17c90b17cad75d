// SPDX-License-Identifier: GPL-3.0-or-later
// Hex dumps for diagnostics.
#include "util/hex_dump.hpp"

#include "util/text.hpp"

#include <cctype>
#include <cstdlib>

namespace vocalink::util {

namespace {

/** One line of a dump: the bytes from offset on, at most width of them. */
std::string dump_line(const char* data, unsigned int len, unsigned int offset, unsigned int width,
                      bool c_layout) {
    std::string line = c_layout ? format("  /* %04X */ ", offset) : format("%04X: ", offset);
    std::string printable;
    for (unsigned int i = 0; i < width; ++i) {
        if (const unsigned int at = offset + i; at < len) {
            const auto byte = static_cast<unsigned char>(data[at]);
            if (c_layout) {
                line += format("0x%02X%c", byte, at + 1 == len ? ' ' : ',');
            } else {
                line += format("%02X", byte);
            }
            printable += std::isprint(byte) != 0 ? static_cast<char>(byte) : '.';
        } else {
            line.append(c_layout ? 5 : 2, ' ');
        }
        if ((i + 1) % 4 == 0) {
            line += ' ';
        }
    }
    return line + (c_layout ? "// " : "   ") + printable + "\n";
}

} // namespace

std::string dump(const char* data, unsigned int len) {
    const bool c_layout = std::getenv("dump_cformat") != nullptr;
    const unsigned int width = c_layout ? 8 : 16;
    std::string text = c_layout ? format("char hexdump[%u] = \n{\n", len) : std::string();
    for (unsigned int offset = 0; offset < len; offset += width) {
        text += dump_line(data, len, offset, width, c_layout);
    }
    return c_layout ? text + "};" : text;
}

} // namespace vocalink::util
