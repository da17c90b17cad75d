// SPDX-License-Identifier: GPL-3.0-or-later
// Making and removing a temporary directory.
#include "harness/temporary_directory.hpp"

#include "harness/descriptor.hpp"

#include <filesystem>
#include <system_error>

#include <stdlib.h>

namespace vocalink::harness {

temporary_directory::temporary_directory()
    : directory((std::filesystem::temp_directory_path() / "vl-XXXXXX").string()) {
    if (::mkdtemp(directory.data()) == nullptr) {
        throw_system_error("cannot make a temporary directory " + directory);
    }
}

temporary_directory::~temporary_directory() {
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
}

} // namespace vocalink::harness
