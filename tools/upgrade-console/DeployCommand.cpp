// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/DeployCommand.h"

namespace {

Options upgradeOf(Options options)
{
    options.command = Options::Command::Upgrade;
    // The sizes of the images, and the check that the device still has this package.
    options.package = options.file;
    // The question is asked before the copy.
    options.yes = true;
    return options;
}

} // namespace

DeployCommand::DeployCommand(const Options &options)
    : Command(options),
      m_display(false),
      m_confirmation(m_display),
      m_put(options),
      m_upgrade(upgradeOf(options))
{
    connect(&m_confirmation, &Confirmation::answered, this, [this](bool isConfirmed) {
        if (isConfirmed)
            m_put.run();
        else
            fail(ProblemId::NotConfirmed);
    });
    connect(&m_put, &Command::finished, this, &DeployCommand::onPut);
    connect(&m_upgrade, &Command::finished, this, &DeployCommand::onUpgraded);
}

bool DeployCommand::prepare(CommandOutcome &result)
{
    if (!needsConfirmation(options()) || Confirmation::canAsk())
        return m_put.prepare(result);
    result = CommandOutcome::failed(ProblemId::NotConfirmed, {});
    return false;
}

void DeployCommand::run()
{
    if (needsConfirmation(options()))
        m_confirmation.ask();
    else
        m_put.run();
}

void DeployCommand::interrupt()
{
    if (m_isPut)
        m_upgrade.interrupt();
    else
        m_put.interrupt();
}

void DeployCommand::onPut(const CommandOutcome &result)
{
    if (result.exit != ExitCode::Done) {
        finish(result);
        return;
    }
    m_isPut = true;
    m_putResult = result;
    QTimer::singleShot(0, &m_upgrade, &Command::run);
}

void DeployCommand::onUpgraded(CommandOutcome result)
{
    result.json["copy"] = m_putResult.json;
    result.text = m_putResult.text + QLatin1Char('\n') + result.text;
    result.warnings = m_putResult.warnings + result.warnings;
    finish(result);
}
