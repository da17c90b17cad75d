// SPDX-License-Identifier: GPL-3.0-or-later
// The sound device, and signalling tones.
#include "audio/g711.hpp"
#include "rtp/rtp_packet.hpp"
#include "streams/alsa_stream.hpp"
#include "streams/tone_stream.hpp"
#include "unit_test.hpp"

#include <csignal>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>

namespace vocalink {
namespace {

class player_test : public loop_test {
  protected:
    player_test() { EXPECT_EQ(::mkfifo(fifo.c_str(), 0600), 0); }

    /** Has the stream send a packet with this body. */
    static void send(stream& to, int payload_type, const std::string& body) {
        rtp_hdr_t header;
        rtp_packet::init_header(header.data(), payload_type, 0);
        const std::string packet = std::string(header.begin(), header.end()) + body;
        EXPECT_EQ(to.write_outgoing(packet.data(), static_cast<int>(packet.size())), 0);
    }

    /** Runs the loop until no child is left, dead or alive. */
    void wait_for_players() {
        siginfo_t child{};
        while (::waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) == 0) {
            loop.run(ev::NOWAIT);
        }
    }
    std::string path(const std::string& name) const { return directory.path() + "/" + name; }

    harness::temporary_directory directory;
    const std::string fifo = path("go_on"); // which scripts wait for
};

TEST_F(player_test, player_gets_whole_ulaw_frames_and_holds_nobody_up) {
    std::signal(SIGPIPE, SIG_IGN); // as in the daemon
    for (int fd = 3; fd < 1024; ++fd) {
        ::fcntl(fd, F_SETFD, FD_CLOEXEC); // came from whoever runs the tests
    }
    std::ofstream(path("script"))
        << "cd $(dirname $0); echo $* > arguments; ls /proc/self/fd > open; cat go_on; cat > in; "
           "kill -PIPE $$; echo ignored > in";
    std::string expected(160, '\0');
    {
        alsa_stream missing("missing", "/missing/player 2> /dev/null"), gone("gone", "exit 0");
        alsa_stream late("late", ("sh " + directory.path() + "/script -c1 -f mu_law").c_str());
        for (const int other_type : {8, 9, 18, 55, 101, 109}) {
            send(late, other_type, std::string(160, 'x'));
        }
        EXPECT_EQ(late.write_outgoing("", 0), 0);
        for (int i = 0; i < 160; ++i) {
            late.outgoing_packet()[i] = static_cast<short>(400 * i - 32000);
        }
        linear2ulaw(late.outgoing_packet(), expected.data(), 160);
        EXPECT_EQ(late.write_outgoing(nullptr, 0), 0);
        for (int frame = 1; frame < 2000; ++frame) { // many times what a pipe takes
            for (alsa_stream* s : {&missing, &gone, &late}) {
                send(*s, PCMU, std::string(160, static_cast<char>(frame)));
            }
        }
        const std::ofstream go_on(fifo); // and the input ends
    }
    wait_for_players();
    const std::string played = content(path("in"));
    while (expected.size() < played.size()) {
        expected.append(160, static_cast<char>(expected.size() / 160));
    }
    EXPECT_EQ(played, expected);
    EXPECT_EQ(content(path("arguments")), "-c1 -f mu_law\n");
    EXPECT_EQ(content(path("open")), "0\n1\n2\n3\n"); // 3 is the directory that is listed
}

TEST_F(player_test, next_player_starts_when_the_last_has_left_the_device) {
    std::ofstream(path("script"))
        << "cd $(dirname $0); mkdir device || exit; cat > /dev/null; cat go_on; rmdir device; "
           "echo played >> log";
    const std::string player = "sh " + path("script");
    {
        std::make_unique<alsa_stream>("first", player.c_str()); // gone at once, its player not yet
        alsa_stream never("never", player.c_str());
    }
    auto next = std::make_unique<alsa_stream>("next", player.c_str());
    EXPECT_EQ(next->write_outgoing(nullptr, 0), 0); // dropped
    loop.run(ev::NOWAIT);
    EXPECT_EQ(content(path("log")), "");
    { const std::ofstream go_on(fifo); }
    while (content(path("log")).empty() || !fs::exists(path("device"))) { // the next one's
        loop.run(ev::NOWAIT);
    }
    next.reset();
    { const std::ofstream go_on(fifo); }
    wait_for_players();
    EXPECT_EQ(content(path("log")), "played\nplayed\n");
}

TEST_F(player_test, tone_stream_detects_what_is_generated_and_keeps_the_latest) {
    testing::internal::CaptureStderr(); // a line for each digit
    for (const auto& [type, digits] :
         {std::pair(DTMF, "123A456B789C*0#D"), std::pair(BELLMF, "*1234567890#")}) {
        tone_stream s("s", type, true);
        tone_generator generator(type);
        const auto send_digits = [&, sent = digits] {
            generator.put(sent);
            std::string samples(160, '\0');
            while (generator.generate(reinterpret_cast<short*>(samples.data()), 80) > 0) {
                send(s, PCMU, samples);
                samples.assign(160, '\0');
            }
        };
        std::string all;
        for (; all.size() < 1100; all += digits) {
            send_digits();
        }
        EXPECT_EQ(s.write_outgoing(nullptr, 0), 0); // from a mix
        EXPECT_EQ(s.tones_detected(true), all.substr(all.size() - 1024));
        generator.set_level(-60, 0); // of DTMF only; too low to be heard
        send_digits();
        EXPECT_EQ(s.tones_detected(true), type == DTMF ? "" : digits);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr().find("mismatch"), std::string::npos);
    std::string packet(max_packet_bytes, 'x');
    tone_stream fresh("fresh", DTMF, false), unasked("unasked", BELLMF, false);
    for (tone_stream* s : {&fresh, &unasked}) {
        EXPECT_EQ(s->read_incoming_rtp(packet.data(), max_packet_bytes, false), 412);
        const bool silent = packet.substr(rtp_header_bytes, 400) == std::string(400, '\0');
        EXPECT_EQ(silent, s == &fresh) << "only Bell MF begins by itself";
    }
}

TEST_F(player_test, r2_sustains_the_last_digit) {
    tone_generator generator(R2MF);
    generator.put("12");
    std::array<short, 2000> samples;
    EXPECT_EQ(generator.generate(samples.data(), 2000), 2000);
    tone_detector detector(R2MF);
    EXPECT_EQ(detector.detect(samples), "2");
    EXPECT_EQ(detector.detect(samples), "") << "told once, when it begins";
}

} // namespace
} // namespace vocalink
