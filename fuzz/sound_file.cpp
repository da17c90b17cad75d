// SPDX-License-Identifier: GPL-3.0-or-later
// A sound file of any content, which changes while it is played.
//
// Input: bytes for codec and loop, how much of the rest is there at first, then the file.
#include "audio/codec.hpp"
#include "audio/frame.hpp"
#include "audio/sound_frames.hpp"
#include "support/input.hpp"
#include "support/world.hpp"

#include <array>
#include <cassert>
#include <memory>
#include <string>

#include <fcntl.h>
#include <unistd.h>

using namespace vocalink;
using fuzz::world;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::input in(data, size);
    const audio_codec& codec = audio_codecs()[in.byte() % audio_codecs().size()];
    const auto frame_bytes = static_cast<std::size_t>(codec.frame_bytes);
    const bool loop = in.byte() % 2 == 0;
    const std::string first = in.text(in.number<std::uint16_t>());
    const std::string path = world::instance().directory() + "/sound";
    const util::unique_fd file(::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    (void)!::write(file.get(), first.data(), first.size());
    sound_frames frames(path, frame_bytes, loop);
    if (!frames.open()) {
        std::abort();
    }
    const codec_decoder_ptr decoder = codec.new_decoder();
    std::vector<char> block;
    std::string played;
    for (int i = 0; i < 8; ++i) {
        if (i % 2 == 1) { // cut off, or longer
            (void)!::ftruncate(file.get(), static_cast<off_t>(in.number<std::uint16_t>()));
            const std::string more = in.text(2 * frame_bytes);
            (void)!::write(file.get(), more.data(), more.size());
        }
        if (frames.take(block) == sound_frames::taking::block) {
            assert(!block.empty() && block.size() % frame_bytes == 0);
            played.append(block.begin(), block.end());
            for (std::size_t at = 0; at < block.size(); at += frame_bytes) {
                std::array<std::int16_t, max_frame_samples> samples;
                decoder->decode({reinterpret_cast<const std::uint8_t*>(&block[at]), frame_bytes},
                                samples.data());
            }
        }
        frames.read_ahead();
    }
    const std::size_t whole = std::min(first.size() / frame_bytes, std::size_t{50}) * frame_bytes;
    assert(played.compare(0, whole, first, 0, whole) == 0);
    return 0;
}
