// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

#include <map>
#include <string>

namespace CLI {
class App;
class Option;
} // namespace CLI

/** How the values of options and arguments are completed, as bash's compgen takes it: "-f" for
 *  files, "-W '2 5'". Other values are free text. */
using CompletionHints = std::map<const CLI::Option *, std::string>;

/**
 * A completion script for bash, made from the program's parser, so that the two cannot differ. It
 * completes sub-commands, the options of each and of the program, the values of options, also after
 * "=", and arguments.
 */
QString bashCompletion(const CLI::App &app, const CompletionHints &hints);
