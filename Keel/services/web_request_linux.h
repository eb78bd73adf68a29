// The libcurl transport of WebRequest, for code that wants one of its own
// rather than the process's (tests, mostly).
#pragma once

#include <memory>

#include "Keel/services/web_request.h"

namespace Keel {

// A transport with its own worker thread and cookie store. Destroying the last
// handle ends the transfers still under way with a `cancelled` error (each
// still completes exactly once) and joins the worker.
[[nodiscard]] std::shared_ptr<WebTransport> makeCurlTransport();

}  // namespace Keel
