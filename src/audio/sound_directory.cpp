// SPDX-License-Identifier: GPL-3.0-or-later
// Where sound files may come from.
#include "audio/sound_directory.hpp"

#include "base/config.hpp"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace vocalink {

namespace {

constexpr int sound_flags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

/** Leaves resolving to the kernel, which looks at every link on the way. */
util::unique_fd open_below(const std::string& directory, std::string_view name) {
    if (name.starts_with(directory + "/")) {
        name.remove_prefix(directory.size() + 1);
    }
    const util::unique_fd root(::open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    open_how how{};
    how.flags = sound_flags;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
    const long opened =
        ::syscall(SYS_openat2, root.get(), std::string(name).c_str(), &how, sizeof how);
    return util::unique_fd(static_cast<int>(opened));
}

} // namespace

util::unique_fd open_sound(const std::string& name) {
    const char* const directory = config::instance().sound_dir;
    return directory != nullptr ? open_below(directory, name)
                                : util::unique_fd(::open(name.c_str(), sound_flags));
}

} // namespace vocalink
