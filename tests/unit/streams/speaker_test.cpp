// SPDX-License-Identifier: GPL-3.0-or-later
// The streams that only speak: sound files and digits.
#include "audio/codec.hpp"
#include "audio/sound_reader_thread.hpp"
#include "base/exceptions.hpp"
#include "streams/conference_leg.hpp"
#include "streams/dtmf_stream.hpp"
#include "streams/sound_stream.hpp"
#include "unit_test.hpp"

#include <sys/stat.h>

namespace vocalink {
namespace {

class speaker_test : public loop_test {
  public:
    void note(std::string notice) { notices += notice + "\n"; }
    void note_turn(stream*) { turns.push_back(loop.now()); }

  protected:
    /** The next packet of a stream; empty when it has none. */
    static std::vector<std::uint8_t> next(stream& from) {
        std::array<char, max_packet_bytes> packet;
        const int length = from.read_incoming_rtp(packet.data(), max_packet_bytes, false);
        return {packet.begin(), packet.begin() + length};
    }
    /** What a stream that has just ended says on the loop's next turn. */
    std::string last_words() {
        loop.run(ev::ONCE);
        return std::exchange(notices, "");
    }
    void write(const std::string& sound) const { std::ofstream(path) << sound; }
    /** The file as the reader opens it. The test reads ahead where the reader would. */
    std::shared_ptr<sound_frames> opened(bool looping, const std::string& codec) const {
        const auto frame_bytes = static_cast<std::size_t>(codec_of_word(codec).frame_bytes);
        auto frames = std::make_shared<sound_frames>(path, frame_bytes, looping);
        EXPECT_TRUE(frames->open());
        return frames;
    }

    SoundReaderThread reader; // does not run
    harness::temporary_directory directory;
    const std::string path = directory.path() + "/sound";
    std::string notices;
    std::vector<double> turns;
};

TEST_F(speaker_test, digit_is_a_whole_event_and_then_the_end) {
    const std::tuple<const char*, int, int, std::uint8_t, int> rows[] = {
        {"7", 101, 100, 7, 3}, {"#", 228, 29, 11, 0}, {"A", 103, -1, 0, 0}, {"12", 96, 60, 0, 2}};
    for (const auto& [digit, type, duration, code, longer] : rows) {
        auto* const digits = new dtmf_stream("d", digit, type, duration); // ends itself
        digits->notify_signal.connect<speaker_test>(this, &speaker_test::note);
        for (int i = 0; i < longer + 4; ++i) {
            loop.run(ev::NOWAIT);
            ASSERT_EQ(notices, "") << "ended before its third end packet";
            const auto packet = next(*digits);
            const int units = 160 * (std::min(i, longer) + 1);
            const std::uint8_t payload[] = {code, std::uint8_t(i > longer ? 0x80 | 10 : 10),
                                            std::uint8_t(units >> 8), std::uint8_t(units)};
            EXPECT_EQ(packet,
                      harness::rtp_packet_bytes(type, i + 1, 0, harness::parse_rtp(packet).ssrc,
                                                payload, i == 0));
        }
        EXPECT_EQ(last_words(), "TIMEOUT STREAM d incoming_packets=" + std::to_string(longer + 4) +
                                    " outgoing_packets=0\n");
    }
}

TEST_F(speaker_test, sound_file_is_followed_to_where_no_frame_is_left) {
    const auto heard = [](stream& from) {
        const auto packet = next(from);
        return packet.empty() ? '.' : static_cast<char>(packet[rtp_header_bytes]);
    };
    for (const bool looping : {false, true}) {
        write(std::string(160, 'a') + std::string(160, 'b') + std::string(80, 'x'));
        const auto frames = opened(looping, "PCMU");
        auto* const sound = new sound_stream("s", path, looping, "PCMU", frames); // ends itself
        sound->notify_signal.connect(this, &speaker_test::note);
        EXPECT_EQ(harness::parse_rtp(next(*sound)).timestamp, 160U);
        EXPECT_EQ(heard(*sound), 'b');
        if (looping) {
            write(std::string(160, 'c'));
            frames->read_ahead();
            for (int i = 2; i < 50; ++i) {
                EXPECT_EQ(heard(*sound), i % 2 == 0 ? 'a' : 'b') << "read ahead";
            }
            EXPECT_EQ(heard(*sound), 'c') << "from its beginning";
            for (int i = 51; i < 100; ++i) {
                EXPECT_EQ(heard(*sound), 'c');
            }
            EXPECT_EQ(heard(*sound), '.') << "late";
            EXPECT_EQ(notices, "");
            write(std::string(159, 'x'));
        }
        frames->read_ahead();
        EXPECT_EQ(heard(*sound), '.');
        EXPECT_EQ(last_words(), "TIMEOUT STREAM s incoming_packets=" +
                                    std::to_string(looping ? 100 : 2) + " outgoing_packets=0\n");
    }
}

TEST_F(speaker_test, sound_is_due_at_the_pace_of_its_codec) {
    write(std::string(1000, 'x'));
    sound_stream sound("s", path, true, "ILBC30", opened(true, "ILBC30"));
    sound.sync_signal.connect(this, &speaker_test::note_turn);
    while (turns.size() < 4) {
        loop.run(ev::ONCE);
    }
    EXPECT_GT(turns[3] - turns[0], 0.08);
    EXPECT_EQ(harness::parse_rtp(next(sound)).timestamp, 240U);
}

TEST_F(speaker_test, only_regular_files_are_opened) {
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    for (const std::string& wrong : {path, directory.path(), std::string("/dev/zero")}) {
        EXPECT_FALSE(sound_frames(wrong, 160, true).open()) << wrong;
    }
    EXPECT_THROW(sound_stream("s", path, true, "PCMU", nullptr), stream_exception);
}

TEST_F(speaker_test, sound_stream_decodes_its_file_for_mix_and_conference) {
    for (const std::string codec : {"PCMU", "G729", "ILBC20", "ILBC30"}) {
        SCOPED_TRACE(codec);
        const audio_codec& row = codec_of_word(codec);
        const std::vector<std::uint8_t> frame(static_cast<std::size_t>(row.frame_bytes), 'x');
        const codec_decoder_ptr decoder = row.new_decoder();
        std::vector<short> expected, heard;
        for (int i = 0; i < 3; ++i) {
            std::array<short, max_frame_samples> samples{};
            decoder->decode(frame, samples.data());
            expected.insert(expected.end(), samples.begin(), samples.begin() + row.frame_samples);
        }
        write({frame.begin(), frame.end()});
        sound_stream played("s", path, true, codec, opened(true, codec));
        EXPECT_GT(played.read_incoming_rtp(nullptr, 0, false), 0);
        EXPECT_TRUE(std::equal(played.incoming_packet(),
                               played.incoming_packet() + row.frame_samples, expected.begin()));
        const auto leg = played.make_conference_leg();
        for (int tick = 0; tick < 3; ++tick) {
            const tick_view said = leg->speak(0).value();
            heard.insert(heard.end(), said.begin(), said.end());
        }
        EXPECT_TRUE(std::equal(heard.begin(), heard.end(), expected.begin()));
    }
}

} // namespace
} // namespace vocalink
