// SPDX-License-Identifier: GPL-3.0-or-later
// Sound files in a pair and in a mix, and files that cannot be played.
#include "system_test.hpp"

#include <fcntl.h>
#include <sys/stat.h>

namespace vocalink::system_tests {

const bytes silence(160, 0xFF);

class sound_test : public system_test {
  protected:
    /** Writes a sound file. @return its path */
    std::string file(const std::string& name, const bytes& whole) const {
        const std::string path = daemon->directory_path() + "/" + name;
        std::ofstream(path) << std::string(whole.begin(), whole.end());
        return path;
    }

    /** Plays the file into the bridge named room. */
    void play(const std::string& id, const std::string& path, const std::string& loop,
              const std::string& encoding) {
        expect_reply("new sound_stream " + id + " " + path + " " + loop + " " + encoding,
                     "SUCCESS " + path + " " + loop);
        expect_reply("join room " + id, "SUCCESS");
    }

    void expect_end(const std::string& id, int packets) {
        EXPECT_EQ(control->notice(), "TIMEOUT STREAM " + id + " incoming_packets=" +
                                         std::to_string(packets) + " outgoing_packets=0");
        expect_reply("recover", "RECOVER_OK");
    }

    /** The payload of the party's next packet. */
    static bytes next(leg& party) {
        const bytes packet = party.phone.receive().value();
        return {packet.begin() + harness::rtp_header_bytes, packet.end()};
    }
};

TEST_F(sound_test, partner_gets_all_frames_at_their_pace_and_the_controller_the_end) {
    start();
    expect_reply("new vocalink room", "SUCCESS");
    const std::tuple<std::string, int, std::size_t, std::uint32_t> codecs[] = {
        {"PCMU", 0, 160, 160}, {"G729", 18, 20, 160}, {"ILBC30", 109, 50, 240}};
    for (const auto& [codec, payload_type, frame_bytes, step] : codecs) {
        leg partner = new_leg(codec, codec);
        expect_reply("join room " + codec, "SUCCESS");
        const auto begin = std::chrono::steady_clock::now();
        play("s", file("f", random_bytes(27 * frame_bytes + 19, 1)), "noloop", codec);
        expect_end("s", 27);
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
        EXPECT_GT(elapsed.count(), 26 * step / 8000.0 - 0.02) << codec;
        bytes played;
        for (std::uint16_t number = 1; number <= 27; ++number) {
            const bytes packet = partner.phone.receive().value();
            const harness::rtp_view view = harness::parse_rtp(packet);
            EXPECT_EQ(packet, harness::rtp_packet_bytes(payload_type, number, number * step,
                                                        view.ssrc, view.payload, number == 1));
            played.insert(played.end(), view.payload.begin(), view.payload.end());
        }
        EXPECT_EQ(played, random_bytes(27 * frame_bytes, 1)) << codec;
        expect_reply("leave room " + codec, "SUCCESS");
    }
}

TEST_F(sound_test, looping_file_follows_its_changes_until_no_frame_is_left) {
    start();
    auto legs = new_call({"PCMU"});
    const bytes sound = random_bytes(400, 2); // 80 of it are no frame
    const std::string path = file("f", sound);
    play("s", path, "loop", "PCMU");
    for (int i = 0; i < 6; ++i) {
        const bytes frame = next(legs[0]);
        EXPECT_TRUE(std::equal(frame.begin(), frame.end(), sound.begin() + i % 2 * 160));
    }
    const util::unique_fd open_file(::open(path.c_str(), O_RDWR | O_CLOEXEC));
    EXPECT_EQ(::pwrite(open_file.get(), silence.data(), silence.size(), 0), 160);
    EXPECT_EQ(::ftruncate(open_file.get(), 160), 0);
    EXPECT_TRUE(eventually([&] { return next(legs[0]) == silence && next(legs[0]) == silence; }));
    EXPECT_EQ(::ftruncate(open_file.get(), 159), 0);
    EXPECT_TRUE(control->notice().value().starts_with("TIMEOUT STREAM s incoming_packets="));
}

TEST_F(sound_test, only_regular_files_are_opened) {
    start();
    const std::string directory = daemon->directory_path(), fifo = directory + "/fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string& path : {fifo, directory, std::string("/dev/zero")}) {
        expect_reply("new sound_stream s " + path + " loop PCMU",
                     "ERROR STREAM_ERROR Could not open sound file");
    }
}

} // namespace vocalink::system_tests
