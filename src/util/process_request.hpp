// SPDX-License-Identifier: GPL-3.0-or-later
// Requests to workers.
#pragma once

namespace vocalink::util {

/** A request on its way to a worker. Made by a producer with new; the worker that drains it from
 *  its queue deletes it. The tags of the workers overlap: queue a request with the worker that it
 *  was made for. */
class ProcessRequest {
  public:
    explicit ProcessRequest(int tag) : type(tag) {}
    ProcessRequest(const ProcessRequest&) = delete;
    ProcessRequest& operator=(const ProcessRequest&) = delete;
    virtual ~ProcessRequest() = default;

    const int type; // what handle_request() switches on; -1 stops the worker
};

/** Ends a worker after the batch in which it comes. */
class StopRequest : public ProcessRequest {
  public:
    static constexpr int tag = -1;
    StopRequest() : ProcessRequest(tag) {}
};

} // namespace vocalink::util
