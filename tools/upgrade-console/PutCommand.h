// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "package/PackageDescription.h"
#include "upgrade-console/Command.h"
#include "upgrade-console/PackageUpload.h"
#include "upgrade-console/ProgressDisplay.h"

/**
 * Copies a package to the module: checks it, requests the module's current package, copies over
 * ssh, and compares the list that the agent then sends.
 */
class PutCommand : public Command
{
    Q_OBJECT

public:
    explicit PutCommand(const Options &options);

    bool prepare(CommandOutcome &result) override;
    void interrupt() override;

protected:
    void onConnected() override;
    void onReply(const client::AgentReply &reply) override;

private:
    enum class Stage { Asking, Listing, Copying, ListingAgain };

    bool readSignature(CommandOutcome &result);
    void list(Stage stage);
    void onListed(const QString &text);
    void copy();
    void onCopied();
    void onCopyFailed(ProblemId cause, const QString &detail);
    void compare(const QString &text);
    void note(const QString &line);
    void showProgress(bool isReadBack, qint64 bytes);
    void succeed();

    Stage m_stage = Stage::Asking;
    PackageUpload m_upload;
    ProgressDisplay m_display;
    int m_percent = -1;
    bool m_isReadingBack = false;
    CheckedPackage m_package;
    package::PackageDescription m_description;
    QVector<Warning> m_warnings;
    ProblemId m_listProblem = ProblemId::None;
    /** The previous package of the module; null when it had none. */
    QJsonValue m_before;
    std::chrono::milliseconds m_copyBegun{0};
    std::chrono::milliseconds m_copyTook{0};
};
