// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace CLI {
class App;
}

/**
 * A bash completion script made from a program's own option table, so that the two cannot differ.
 * Sub-commands are completed first, then their options; what is no option is completed as a file.
 */
std::string bashCompletion(const CLI::App &app);
