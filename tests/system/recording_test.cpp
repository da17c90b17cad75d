// SPDX-License-Identifier: GPL-3.0-or-later
// Recordings: their commands, files and notices, every way they end, and what goes wrong with them.
#include "system_test.hpp"

#include <pty.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vocalink::system_tests {

constexpr std::size_t pcap_header_bytes = 24;
constexpr std::size_t pcmu_record_bytes = 48 + 12 + 160;

class recording_test : public system_test {
  protected:
    void SetUp() override {
        fs::create_directory(work);
        fs::create_directory(store);
        start({"-a", work, "-l", store});
    }

    /** Starts a recording. @return the name of its file */
    std::string record(const std::string& stream, const std::string& name,
                       const std::string& type) {
        const std::string reply =
            control->command("recording start " + stream + " " + name + " " + type);
        const std::string success = "SUCCESS " + store + "/";
        EXPECT_TRUE(reply.starts_with(success)) << reply;
        return reply.substr(std::min(success.size(), reply.size()));
    }
    /** Ends a recording on the stream a that was announced, and waits for its file. */
    void stop(const std::string& name, const std::string& file) {
        expect_reply("recording stop a " + name, "SUCCESS");
        expect_notice("FINISHED", file);
    }
    /** Records so many packets on a. @return the name of the file, which is then finished */
    std::string record_call(std::vector<leg>& legs, const std::string& name, int packets) {
        const std::string file = record("a", name, "pcap");
        expect_relay(legs[0], legs[1], packets);
        expect_notice("STARTED", file);
        stop(name, file);
        return file;
    }
    void expect_notice(const std::string& word, const std::string& file) {
        EXPECT_EQ(control->notice(), "REC_" + word + " " + file + " a");
    }
    void expect_relay(leg& from, leg& to, int packets = 1) {
        for (int i = 0; i < packets; ++i) {
            const bytes sent = from.send(pcmu, speech);
            EXPECT_EQ(to.phone.receive(), sent);
        }
    }
    static std::string payload_of(const bytes& packet) {
        return {packet.begin() + harness::rtp_header_bytes, packet.end()};
    }
    std::string stored(const std::string& file) const { return content(store + "/" + file); }

    harness::temporary_directory directory;
    const std::string work = directory.path() + "/work $(1)", store = directory.path() + "/'store;";
};

TEST_F(recording_test, takes_any_name_that_stays_in_its_directory) {
    new_leg("a", "PCMU");
    for (const std::string& name :
         {std::string("../x"), std::string("../x"), store + "/x", std::string(300, 'x')}) {
        expect_reply("recording start a \"" + name + "\" pcap", "ERROR create recording failed");
    }
    for (const std::string name : {"a  b", "'a'", "-f", "*", "$(touch rec_made)`touch rec_made`"}) {
        const std::string word = "\"" + name + "\"", file = record("a", word, "ulaw_in");
        EXPECT_TRUE(file.starts_with(name + "_") && file.ends_with(".ulaw")) << file;
        stop(word, file);
        EXPECT_TRUE(fs::exists(fs::path(store) / file)) << file;
    }
    EXPECT_EQ(std::distance(fs::recursive_directory_iterator(directory.path()), {}), 2 + 5);
    EXPECT_FALSE(fs::exists("rec_made"));
    // A notice that is longer than the daemon reads at once, whose end looks like another one.
    expect_reply("framing lines", "SUCCESS");
    const std::size_t file_bytes = record("a", "n", "pcap").size();
    const std::string begin = "1 REC_FINISHED  ";
    const std::string id = std::string(16384 - begin.size() - file_bytes, 'x') + "1 REC_TAIL";
    new_leg("\"" + id + "\"", "PCMU");
    record("\"" + id + "\"", "n", "pcap");
    expect_reply("recording stop \"" + id + "\" n", "SUCCESS");
    expect_reply("recording stop a n", "SUCCESS");
    EXPECT_TRUE(control->notice().value().starts_with("REC_FINISHED n_"));
}

TEST_F(recording_test, every_type_holds_its_packets_to_the_byte) {
    auto legs = new_call({"PCMU", "PCMU"});
    leg &a = legs[0], &b = legs[1];
    std::map<std::string, std::string> files; // by type
    for (const char* type : {"pcap", "ulaw_in", "ulaw_out", "g729_in", "g729_out"}) {
        files[type] = record("a", type, type);
    }
    const bytes first = a.send(pcmu, speech);
    EXPECT_EQ(b.phone.receive(), first);
    const bytes answer = b.send(pcmu, random_bytes(160, 2));
    EXPECT_EQ(a.phone.receive(), answer);
    for (const char* type : {"g729_in", "pcap", "ulaw_in", "g729_out", "ulaw_out"}) {
        expect_notice("STARTED", files[type]);
    }
    const bytes digit = a.send(telephone_event, {5, 10, 0, 160}, true);
    const bytes digit_end = a.send(telephone_event, {5, 0x80 | 10, 0, 160});
    EXPECT_TRUE(control->notice() && control->notice());
    const bytes last = a.send(pcmu, random_bytes(160, 3));
    EXPECT_EQ(b.phone.receive(), last);
    stop("g729_in", files["g729_in"]);
    EXPECT_TRUE(control->command("delete stream a").starts_with("SUCCESS"));
    for (const char* type : {"g729_out", "pcap", "ulaw_in", "ulaw_out"}) {
        expect_notice("FINISHED", files[type]);
    }
    const std::string in = stored(files["ulaw_in"]);
    EXPECT_TRUE(in.starts_with(payload_of(first) + "\x7F\xFF") && in.ends_with(payload_of(last)));
    EXPECT_EQ(in.size(), 4 * 160U) << "frames missing for the digit";
    EXPECT_EQ(stored(files["g729_in"]), in);
    EXPECT_EQ(stored(files["ulaw_out"]), payload_of(answer));
    EXPECT_EQ(stored(files["g729_out"]), payload_of(answer));

    // The header's layout is a unit test's; here it is the right one for each packet.
    const std::string file = stored(files["pcap"]);
    const auto field = [&file](std::size_t at) {
        return (file.at(at) & 0xFF) << 8 | (file.at(at + 1) & 0xFF);
    };
    std::size_t at = pcap_header_bytes;
    for (const bytes& packet : {first, answer, digit, digit_end, last}) {
        const bool received = packet != answer;
        EXPECT_EQ(field(at + 40), received ? a.phone.port() : a.port);
        EXPECT_EQ(field(at + 42), received ? a.port : a.phone.port());
        EXPECT_EQ(file.substr(at + 48, packet.size()), std::string(packet.begin(), packet.end()));
        at += 48 + packet.size();
    }
    EXPECT_EQ(file.size(), at);
}

TEST_F(recording_test, interrupt_and_end_of_connection_lose_nothing_of_200) {
    std::vector<leg> legs;
    expect_reply("new vocalink room", "SUCCESS");
    // The notices of the second stream are too much for a pipe that nobody reads any more.
    for (const std::string& id : {std::string("a"), std::string(1000, 'b')}) {
        legs.push_back(new_leg(id, "PCMU"));
        expect_reply("join room " + id, "SUCCESS");
    }
    std::set<std::string> files, expected, notices;
    for (int i = 0; i < 200; ++i) {
        const leg& recorded = legs[i % 2];
        const auto file = files.insert(record(recorded.id, std::to_string(i), "pcap")).first;
        expected.insert("REC_STARTED " + *file + " " + recorded.id);
    }
    expect_relay(legs[0], legs[1], 20);
    for (int i = 0; i < 200; ++i) {
        notices.insert(control->notice().value());
    }
    EXPECT_EQ(notices, expected);
    harness::controller other(daemon->socket_path());
    EXPECT_TRUE(other.command(new_stream("a", "PCMU")).starts_with("SUCCESS"));
    EXPECT_TRUE(other.command("recording start a other pcap").starts_with("SUCCESS"));
    other.close();
    EXPECT_TRUE(daemon->wait_for_log("): submitting move request other_"));
    EXPECT_FALSE(control->notice(0ms));
    for (int i = 0; i < 200; i += 2) { // whose files are being moved when the interrupt comes
        expect_reply("recording stop a " + std::to_string(i), "SUCCESS");
    }
    ASSERT_EQ(daemon->stop(), 0);
    for (const std::string& file : files) {
        EXPECT_EQ(stored(file).size(), pcap_header_bytes + 20 * pcmu_record_bytes) << file;
    }
    EXPECT_TRUE(fs::is_empty(work));
}

TEST_F(recording_test, killed_daemon_leaves_readable_files_but_for_the_last_second) {
    auto legs = new_call({"G729", "G729"});
    const std::string raw = record("a", "r", "g729_in");
    std::string sent;
    std::size_t settled = 0; // bytes sent up to a second before the end
    const auto began = std::chrono::steady_clock::now();
    for (auto age = 0ns; age < 1400ms; age = std::chrono::steady_clock::now() - began) {
        const bytes packet = legs[0].send(g729, random_bytes(20, legs[0].sequence));
        sent += payload_of(packet);
        settled = age < 400ms ? sent.size() : settled;
        ASSERT_EQ(legs[1].phone.receive(), packet);
        EXPECT_TRUE(legs[1].phone.receive_nothing(8ms)); // keeps the writer busy, as a few calls do
    }
    ASSERT_EQ(::kill(daemon->pid(), SIGKILL), 0);
    EXPECT_EQ(daemon->stop(), 128 + SIGKILL);
    const std::string written = content(work + "/" + raw);
    EXPECT_TRUE(sent.starts_with(written) && written.size() >= settled) << written.size();
    const std::string recover =
        VOCALINK_SOURCE_DIR "/scripts/vocalink-recover-recordings '" + work + "' \"" + store + "\"";
    const std::string moved = std::string(250, 'm') + ".ulaw";
    fs::create_directory(store + "/.moving-1");
    std::ofstream(store + "/.moving-1/" + moved) << "whole";
    std::ofstream(store + "/.moving-1/" + raw) << "cut";
    EXPECT_EQ(std::system(recover.c_str()), 0);
    EXPECT_EQ(stored(raw), written);
    EXPECT_EQ(stored(moved), "whole");
    EXPECT_EQ(std::distance(fs::directory_iterator(store), {}), 2);
    std::ofstream(work + "/" + raw) << "another of that name";
    EXPECT_NE(std::system((recover + " 2> /dev/null").c_str()), 0);
    EXPECT_EQ(stored(raw), written);
    EXPECT_TRUE(fs::exists(work + "/" + raw));
    start({"-a", work, "-l", store}); // the next one is to end as usual
}

TEST_F(recording_test, call_goes_on_without_room_and_without_directories) {
    auto legs = new_call({"PCMU", "PCMU"});
    leg &a = legs[0], &b = legs[1];
    const rlimit room{60'000, RLIM_INFINITY}; // of each file, as on a disk that is full
    ASSERT_EQ(::prlimit(daemon->pid(), RLIMIT_FSIZE, &room, nullptr), 0);
    const std::size_t whole = room.rlim_cur / pcmu_record_bytes;
    const std::string full = record_call(legs, "full", 400);
    EXPECT_EQ(stored(full).size(), pcap_header_bytes + whole * pcmu_record_bytes);
    for (const std::string& line : {"): " + std::to_string(400 - whole) + " records lost to",
                                    std::string("write packet failed: File too large\n")}) {
        EXPECT_EQ(occurrences(daemon->log(), line), 1) << line;
    }
    const std::string kept = record("a", "kept", "ulaw_in");
    expect_relay(a, b);
    expect_notice("STARTED", kept);
    fs::remove_all(store);
    stop("kept", kept);
    EXPECT_EQ(fs::file_size(work + "/" + kept), 160U);
    fs::remove_all(work);
    expect_reply("recording start b r ulaw_in", "ERROR create recording failed");
    expect_relay(b, a);
}

// At a terminal that stops whoever writes in the background.
TEST_F(recording_test, full_store_has_whole_files_only_and_the_others_stay_in_the_work_directory) {
    if (std::system("unshare -m true") != 0) {
        GTEST_SKIP() << "needs a mount namespace of its own";
    }
    const std::string socket = directory.path() + "/control", name = program();
    int terminal = -1, status = -1;
    const pid_t pid = ::forkpty(&terminal, nullptr, nullptr, nullptr);
    if (pid == 0) {
        ::execlp("unshare", "unshare", "-m", "sh", "-c",
                 "stty tostop && mount -t tmpfs -o size=64k none \"$3\" && "
                 "exec \"$0\" -s \"$1\" -a \"$2\" -l \"$3\"",
                 name.c_str(), socket.c_str(), work.c_str(), store.c_str(), nullptr);
        ::_exit(127);
    }
    ASSERT_TRUE(eventually([&] { // its file exists before the daemon listens there
        try {
            control.emplace(socket);
        } catch (const std::system_error&) {
            return false;
        }
        return true;
    }));
    auto legs = new_call({"PCMU", "PCMU"});
    const std::string small = record_call(legs, "small", 1),
                      large = record_call(legs, "large", 400);
    const fs::path stored_there = "/proc/" + std::to_string(pid) + "/root" + store;
    EXPECT_EQ(fs::file_size(stored_there / small), pcap_header_bytes + pcmu_record_bytes);
    EXPECT_EQ(std::distance(fs::directory_iterator(stored_there), {}), 1);
    EXPECT_EQ(fs::file_size(work + "/" + large), pcap_header_bytes + 400 * pcmu_record_bytes);
    ::kill(pid, SIGINT);
    EXPECT_TRUE(::waitpid(pid, &status, 0) == pid && status == 0);
    ::close(terminal);
}

} // namespace vocalink::system_tests
