// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/CommandLine.h"
#include "planning/UpgradeMode.h"

#include <QString>

#include <optional>
#include <string>

/** The options of fwm. The command determines which texts are set. */
struct Options
{
    QString command;
    /** The package, request, folder or archive. */
    QString file;
    /** The second file of add-net and diff. */
    QString other;
    QString output;
    /** For info and verify: a key file or a folder of keys; empty for no check of the signature. */
    QString keys;
    /** The signature file; empty for the package's name with ".minisig". */
    QString signature;
    QString release;
    QString netVersion;
    /** One of these two for plan: a file of rows, or one of a device. */
    QString rows;
    QString device;
    /** The rows of plan are those that the agent makes for UPGRADEALL. */
    bool requestAll = false;
    /** The upgrade mode of plan. */
    int mode = planning::upgradeMode::newerOnly;
    /** build writes a package that devices refuse, too. */
    bool force = false;
    /** build fills the gaps of Intel HEX and S-record files with 0xFF. */
    bool fillGaps = false;
    bool progress = true;
};

/** The command line of fwm. */
class OptionReader
{
public:
    OptionReader();

    /** As CommandLine::read(); options() is valid if it returns nothing. */
    std::optional<CommandOutcome> read(const QStringList &arguments);
    Options options() const;
    const CommandLine &line() const { return m_line; }

private:
    /** Filled in by the parser. */
    struct Texts
    {
        std::string file;
        std::string other;
        std::string output;
        std::string keys;
        std::string signature;
        std::string release;
        std::string netVersion;
        std::string rows;
        std::string device;
        std::string mode;
        bool noProgress = false;
        bool requestAll = false;
        bool force = false;
        bool fillGaps = false;
    };

    CLI::App &addCommand(const char *name, const char *help);
    void addFile(CLI::App &command, const char *name, std::string &text, const char *help);
    void addSignature(CLI::App &command);
    void addOutput(CLI::App &command, const char *help);
    void addReaders();
    void addPlan();
    void addWriters();

    CommandLine m_line;
    Texts m_texts;
};
