// SPDX-License-Identifier: GPL-3.0-or-later
// A directory of a test's own that goes with its owner.
#pragma once

#include "harness/waiting.hpp"

#include <filesystem>
#include <string>
#include <system_error>

#include <stdlib.h>

namespace vocalink::harness {

/** Makes an empty directory with a new name under TMPDIR (/tmp when unset) and removes it, with all
 *  that is in it, when it ends. The name is kept short, so that socket paths fit their 107 bytes.
 */
class temporary_directory {
  public:
    temporary_directory() {
        if (::mkdtemp(directory.data()) == nullptr) {
            throw_system_error("cannot make a temporary directory " + directory);
        }
    }
    ~temporary_directory() {
        std::error_code ignored;
        std::filesystem::remove_all(directory, ignored);
    }
    temporary_directory(const temporary_directory&) = delete;
    temporary_directory& operator=(const temporary_directory&) = delete;

    /** Absolute, without a slash at its end. */
    [[nodiscard]] const std::string& path() const { return directory; }

  private:
    std::string directory = std::filesystem::temp_directory_path() / "vl-XXXXXX";
};

} // namespace vocalink::harness
