// SPDX-License-Identifier: Apache-2.0
#include "common/BashCompletion.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace {

/** The names that people type, without those of hidden options. */
std::string optionNames(const CLI::App &app)
{
    std::string names;
    for (const CLI::Option *option : app.get_options()) {
        if (option->get_group().empty())
            continue;
        for (const std::string &name : option->get_lnames())
            names += " --" + name;
        for (const std::string &name : option->get_snames())
            names += " -" + name;
    }
    return names.empty() ? names : names.substr(1);
}

std::string commandNames(const CLI::App &app)
{
    std::string names;
    for (const CLI::App *command : app.get_subcommands({}))
        names += (names.empty() ? "" : " ") + command->get_name();
    return names;
}

std::string functionName(const std::string &program)
{
    std::string name = "_" + program;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

} // namespace

std::string bashCompletion(const CLI::App &app)
{
    const std::string &program = app.get_name();
    const std::string function = functionName(program);
    std::string cases;
    for (const CLI::App *command : app.get_subcommands({}))
        cases +=
            "        " + command->get_name() + ") words=\"" + optionNames(*command) + "\" ;;\n";

    return "# bash completion for " + program + "\n" + function +
           "()\n"
           "{\n"
           "    local current=\"${COMP_WORDS[COMP_CWORD]}\" command=\"\" words=\"\" word\n"
           "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
           "        case \"$word\" in\n"
           "            -*) ;;\n"
           "            *) command=\"$word\"; break ;;\n"
           "        esac\n"
           "    done\n"
           "    case \"$command\" in\n"
           "        \"\") words=\"" +
           commandNames(app) + " " + optionNames(app) + "\" ;;\n" + cases +
           "    esac\n"
           "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
           "    if [[ -n \"$command\" && \"$current\" != -* ]]; then\n"
           "        mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n"
           "    fi\n"
           "}\n"
           "complete -o filenames -F " +
           function + " " + program + "\n";
}
