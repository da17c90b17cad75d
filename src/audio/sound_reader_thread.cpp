// SPDX-License-Identifier: GPL-3.0-or-later
// The worker that reads sound files.
#include "audio/sound_reader_thread.hpp"

#include "util/loop_calls.hpp"

namespace vocalink {

namespace {

enum request_tag : int { open_tag = 0, read_tag = 1, close_tag = 2 };

/** Destroyed by the reader, and with it the file when nobody else has it. */
struct sound_request : util::ProcessRequest {
    sound_request(request_tag tag, std::shared_ptr<sound_frames> concerned)
        : ProcessRequest(tag), frames(std::move(concerned)) {}

    std::shared_ptr<sound_frames> frames;
    SoundReaderThread::opened_handler done; // of an opening, for the loop
};

} // namespace

SoundReaderThread::SoundReaderThread() : MsgQueueThread("soundReaderThread") {}

void SoundReaderThread::open(std::shared_ptr<sound_frames> frames, opened_handler done) {
    auto request = std::make_unique<sound_request>(open_tag, std::move(frames));
    request->done = std::move(done);
    queue(request.release());
}

void SoundReaderThread::read_ahead(std::shared_ptr<sound_frames> frames) {
    queue(new sound_request(read_tag, std::move(frames)));
}

void SoundReaderThread::close(std::shared_ptr<sound_frames> frames) {
    queue(new sound_request(close_tag, std::move(frames)));
}

void SoundReaderThread::handle_request(util::ProcessRequest* request) {
    auto& asked = static_cast<sound_request&>(*request);
    if (asked.type == open_tag) {
        const auto opened = asked.frames->open() ? asked.frames : nullptr;
        util::loop_calls::instance().post([done = std::move(asked.done), opened] { done(opened); });
    } else if (asked.type == read_tag) {
        asked.frames->read_ahead();
    }
}

} // namespace vocalink
