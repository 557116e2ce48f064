// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "upgrade-web/HttpMessage.h"

namespace web {

/** A file of the page, which is part of the program; 404 for any other path. */
Response pageFile(const QByteArray &path);

} // namespace web
