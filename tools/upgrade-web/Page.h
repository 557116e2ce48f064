// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "upgrade-web/HttpMessage.h"

namespace web {

/** A file of the page, or 304 (RFC 9110) when the browser has this one. `request.path` is that of a
 *  route of the page. */
Response pageResponse(const Request &request);

} // namespace web
