// SPDX-License-Identifier: GPL-3.0-or-later
// Commands that only tell.
#include "control/connection.hpp"
#include "recording/logging_thread.hpp"
#include "recording/rec_mover_thread.hpp"

namespace vocalink {

std::string connection::_queue_count(words&) {
    return "SUCCESS " + std::to_string(RecMoverThread::instance().get_count()) + " " +
           std::to_string(LoggingThread::instance().get_count());
}

} // namespace vocalink
