// SPDX-License-Identifier: GPL-3.0-or-later
// What the option -S keeps from being played.
#include "system_test.hpp"

#include <filesystem>

namespace vocalink::system_tests {

using sound_directory_test = system_test;

TEST_F(sound_directory_test, with_a_sound_directory_nothing_outside_it_is_played) {
    const harness::temporary_directory other;
    const std::string sounds = other.path() + "/sounds";
    std::filesystem::create_directories(sounds + "/sub");
    for (const std::string& path : {other.path() + "/outside", sounds + "/inside"}) {
        std::ofstream(path) << std::string(1600, 'x');
    }
    std::filesystem::create_symlink(other.path() + "/outside", sounds + "/absolute");
    std::filesystem::create_symlink("../../outside", sounds + "/sub/climbing");
    std::filesystem::create_symlink("../inside", sounds + "/sub/staying");
    start({"-S", sounds});
    for (const std::string& name :
         {std::string("inside"), sounds + "/inside", std::string("sub/staying")}) {
        expect_reply("new sound_stream a " + name + " loop PCMU", "SUCCESS " + name + " loop");
        control->command("delete stream a");
    }
    for (const std::string& name :
         {other.path() + "/outside", std::string("../outside"), std::string("absolute"),
          std::string("sub/climbing"), std::string("/proc/self/environ")}) {
        expect_reply("new sound_stream a " + name + " loop PCMU",
                     "ERROR STREAM_ERROR Could not open sound file");
    }
}

} // namespace vocalink::system_tests
