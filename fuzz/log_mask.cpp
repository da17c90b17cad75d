// SPDX-License-Identifier: GPL-3.0-or-later
// Whether a key that a stream takes can ever stand in the log.
//
// Input: a command line, in which K stands for a key.
#include "control/log_masking.hpp"
#include "util/text.hpp"

#include <algorithm>
#include <cassert>
#include <string>

using namespace vocalink;

namespace {

const std::string key = "0123456789ABCDEFGHIJ0123456789";

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string line;
    for (std::size_t i = 0; i < size; ++i) {
        line += data[i] == 'K' ? key : std::string(1, static_cast<char>(data[i]));
    }
    word_list words;
    util::parse_args(line, words, '\0');
    const log_mask mask(words);
    const std::string logged = mask.line(line);
    const auto secret = std::find(words.begin(), words.end(), "encryption");
    for (auto word = secret; word != words.end(); ++word) {
        assert(*word != key || mask.hides(*word));
    }
    const auto shows_key = [](const std::string& text) { return text.find(key) != text.npos; };
    if (secret != words.end() && std::none_of(words.begin(), secret, shows_key)) {
        // Words before the feature's name are no keys, and are shown.
        assert(!shows_key(logged));
        assert(!shows_key(mask.reply("ERROR unknown " + line)));
    }
    return 0;
}
