// SPDX-License-Identifier: Apache-2.0
#include "device-simulator/ControlCommands.h"

#include "device-simulator/FlashFiles.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <limits>
#include <utility>

namespace {

QString error(const QString &text)
{
    return QStringLiteral("error: ") + text;
}

QString ok(const QString &text = QString())
{
    return text.isEmpty() ? QStringLiteral("ok") : QStringLiteral("ok ") + text;
}

QJsonObject chipStatus(const SimulatedDevice::Chip &chip)
{
    return {
        {QStringLiteral("name"), chip.now.name},
        {QStringLiteral("chip_type"), chip.now.chipType},
        {QStringLiteral("chip_index"), chip.now.chipIndex},
        {QStringLiteral("version"), chip.now.version.text()},
        {QStringLiteral("bootcode"), chip.now.bootcode || chip.flash.isHalfWritten()},
        {QStringLiteral("product_information"), chip.now.productInformation},
        {QStringLiteral("images_written"), chip.flash.completedImages()},
        {QStringLiteral("flash_bytes"), chip.flash.bytes().size()},
        {QStringLiteral("half_written"), chip.flash.isHalfWritten()},
    };
}

} // namespace

struct ControlCommands::Command
{
    const char *words;
    const char *arguments;
    const char *help;
    QString (ControlCommands::*run)(const QString &arguments);
};

const QVector<ControlCommands::Command> &ControlCommands::commands()
{
    using Self = ControlCommands;
    // clang-format off
    static const QVector<Command> table{
        {"fault add",     "NAME[:ARGS]",     "adds a fault",                          &Self::addFault},
        {"fault clear",   "",                "removes every fault",                   &Self::clearFaults},
        {"fault list",    "",                "lists the faults",                      &Self::listFaults},
        {"flash save",    "DIR",             "writes every chip's flash to files",    &Self::saveFlash},
        {"flash compare", "TYPE INDEX FILE", "compares a chip's flash with an image", &Self::compareFlash},
        {"status",        "",                "shows the device's state as JSON",      &Self::status},
        {"reset",         "",                "restarts the device",                   &Self::reset},
        {"power-cycle",   "",                "the same",                              &Self::reset},
        {"link",          "off|on",          "disconnects or connects the line",            &Self::plug},
        {"quit",          "",                "ends the simulator",                    &Self::quit},
    };
    // clang-format on
    return table;
}

ControlCommands::ControlCommands(SimulatedDevice &device, ControlHooks hooks)
    : m_device(device), m_hooks(std::move(hooks))
{
}

QStringList ControlCommands::help()
{
    QStringList lines;
    for (const Command &command : commands()) {
        const QString words = QStringLiteral("%1 %2").arg(QLatin1String(command.words),
                                                          QLatin1String(command.arguments));
        lines.append(words.trimmed().leftJustified(32) + QLatin1String(command.help));
    }
    return lines;
}

QString ControlCommands::execute(const QString &line)
{
    const QString text = line.simplified();
    for (const Command &command : commands()) {
        const QString words = QLatin1String(command.words);
        const QString arguments = text.mid(words.size()).trimmed();
        const bool takesArguments = *command.arguments != '\0';
        if (text != words && !text.startsWith(words + QLatin1Char(' ')))
            continue;
        if (arguments.isEmpty() == takesArguments)
            return error(QStringLiteral("usage: %1 %2")
                             .arg(words, QLatin1String(command.arguments))
                             .trimmed());
        return (this->*command.run)(arguments);
    }
    return error(QStringLiteral("unknown command '%1'").arg(text));
}

QString ControlCommands::addFault(const QString &text)
{
    QString problem;
    const auto fault = Fault::parse(text, &problem);
    if (!fault)
        return error(problem);
    m_device.faults().add(*fault);
    return ok();
}

QString ControlCommands::clearFaults(const QString &)
{
    m_device.faults().clear();
    return ok();
}

QString ControlCommands::listFaults(const QString &)
{
    QStringList texts;
    for (const Fault &fault : m_device.faults().faults())
        texts.append(fault.text);
    return ok(texts.join(QLatin1Char(' ')));
}

QString ControlCommands::saveFlash(const QString &directory)
{
    const QString problem = ::saveFlash(m_device, directory);
    return problem.isEmpty() ? ok() : error(problem);
}

QString ControlCommands::compareFlash(const QString &arguments)
{
    const QString path = arguments.section(QLatin1Char(' '), 2);
    bool isType = false;
    bool isIndex = false;
    const uint type = arguments.section(QLatin1Char(' '), 0, 0).toUInt(&isType);
    const uint index = arguments.section(QLatin1Char(' '), 1, 1).toUInt(&isIndex);
    constexpr uint largest = std::numeric_limits<quint8>::max();
    if (!isType || !isIndex || type > largest || index > largest)
        return error(QStringLiteral("TYPE and INDEX are numbers from 0 to %1").arg(largest));
    if (m_device.chip(quint8(type), quint8(index)) == nullptr)
        return error(QStringLiteral("no such chip"));
    // A pipe would block the device.
    if (QFileInfo::exists(path) && !QFileInfo(path).isFile())
        return error(QStringLiteral("%1: not an ordinary file").arg(path));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return error(QStringLiteral("%1: %2").arg(path, file.errorString()));
    const FlashComparison comparison =
        ::compareFlash(m_device.flash(quint8(type), quint8(index)), file.readAll());
    return comparison.equal ? ok(comparison.text) : error(comparison.text);
}

QString ControlCommands::status(const QString &)
{
    QJsonArray chips;
    for (const SimulatedDevice::Chip &chip : m_device.chips())
        chips.append(chipStatus(chip));
    const QJsonObject status{
        {QStringLiteral("silent"), m_device.isSilent()},
        {QStringLiteral("reboots"), m_device.rebootCount()},
        {QStringLiteral("violations"), m_device.violationCount()},
        {QStringLiteral("virtual_version"), m_device.virtualVersion()},
        {QStringLiteral("lost_bytes"), m_hooks.lostBytes()},
        {QStringLiteral("chips"), chips},
    };
    return ok(QString::fromUtf8(QJsonDocument(status).toJson(QJsonDocument::Compact)));
}

QString ControlCommands::reset(const QString &)
{
    m_device.powerCycle();
    return ok();
}

QString ControlCommands::plug(const QString &state)
{
    if (state != QLatin1String("on") && state != QLatin1String("off"))
        return error(QStringLiteral("usage: link off|on"));
    m_hooks.plug(state == QLatin1String("on"));
    return ok();
}

QString ControlCommands::quit(const QString &)
{
    m_hooks.quit();
    return ok();
}
