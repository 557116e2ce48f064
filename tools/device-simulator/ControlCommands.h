// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-simulator/SimulatedDevice.h"

#include <QString>
#include <QStringList>

#include <functional>

/** What the control channel can do beside the device itself. */
struct ControlHooks
{
    std::function<void(bool plugged)> plug = [](bool) {};
    /** Bytes that the host has sent over a cut wire. */
    std::function<qint64()> lostBytes = [] { return qint64(0); };
    std::function<void()> quit = [] {};
};

/** The commands of the control channel: one line in, one line out. */
class ControlCommands
{
public:
    explicit ControlCommands(SimulatedDevice &device, ControlHooks hooks = {});

    /** Carries a line out. The answer is "ok", "ok TEXT" or "error: TEXT". */
    QString execute(const QString &line);

    /** Every command with its arguments and what it does. */
    static QStringList help();

private:
    struct Command;
    static const QVector<Command> &commands();

    QString addFault(const QString &text);
    QString clearFaults(const QString &);
    QString listFaults(const QString &);
    QString saveFlash(const QString &directory);
    QString compareFlash(const QString &arguments);
    QString status(const QString &);
    QString reset(const QString &);
    QString plug(const QString &state);
    QString quit(const QString &);

    SimulatedDevice &m_device;
    ControlHooks m_hooks;
};
