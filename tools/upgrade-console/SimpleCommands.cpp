// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/SimpleCommands.h"

#include "DumpReader.h"
#include "client/Messages.h"
#include "client/PackageListing.h"
#include "common/Printable.h"
#include "edid/EdidTexts.h"
#include "fwm/PackageContents.h"
#include "fwm/Words.h"
#include "package/DescriptionKeys.h"
#include "package/PackageDescription.h"
#include "planning/TypeAndIndexTable.h"
#include "protocol/ChipTypes.h"
#include "protocol/ConsoleTexts.h"
#include "upgrade-console/Terminal.h"
#include "upgrade-console/UpgradeView.h"

#include <QFile>
#include <QJsonArray>

#include <cstdio>

namespace chip = protocol::chip;
namespace consoletext = protocol::consoletext;
namespace description = package::description;
namespace field = package::field;
using client::AgentReply;
using client::listProblem;
using client::meaningOf;
using client::packageJson;
using package::imageEntries;
using package::ImageEntry;
using package::PackageDescription;
using package::parseDescription;

namespace {

constexpr double nanoPerMilli = 1e6;

/** A list entry's fields as the package table shows them. */
QStringList packageRow(const QStringList &entry)
{
    const int speciality = entry.value(field::speciality).toInt();
    const bool isLetter = speciality > 0x20 && speciality < 0x7F;
    return {
        printable(entry.value(field::name)),
        entry.value(field::chipType),
        entry.value(field::chipIndex),
        entry.value(field::mcuType),
        entry.value(field::pcbVersion),
        isLetter ? QString(QChar(speciality)) : QString::number(speciality),
        QStringList(entry.mid(field::ver1, 3)).join('.'),
    };
}

QJsonObject imageJson(const ImageEntry &entry)
{
    const package::RecordKey key = keyOfEntry(entry);
    const int chipType = description::number(entry.chip, package::key::chipType);
    return {{"name", description::text(entry.pcb, package::key::name)},
            {"chip", description::text(entry.chip, package::key::name)},
            {"chip_type", chip::fromDescription(chipType)},
            {"chip_quantity", key.chipQuantity},
            {"mcu_type", key.mcuType},
            {"pcb_version", key.pcbVersion},
            {"speciality", key.speciality},
            {"version", versionText(key)}};
}

/** With the keys of 'fwm list'. */
QJsonObject listJson(const PackageDescription &package)
{
    QJsonArray images;
    const auto entries = imageEntries(package.object);
    for (const ImageEntry &entry : entries)
        images.append(imageJson(entry));
    QJsonObject json = packageJson(package);
    json["images"] = images;
    return json;
}

/** The first entry that names the kind of input. The maker and the name precede it, and a name may
 *  contain commas. */
int inputEntry(const QStringList &entries)
{
    for (int i = 2; i < entries.size(); ++i) {
        if (entries.at(i) == QLatin1String(edid::text::hdmi) ||
            entries.at(i) == QLatin1String(edid::text::dvi))
            return i;
    }
    return -1;
}

QStringList reportLines(const QString &fields)
{
    QStringList entries = printable(fields).split(',');
    if (entries.last().isEmpty())
        entries.removeLast();
    const int input = inputEntry(entries);
    if (input < 0)
        return entries;
    QStringList lines{"Manufacturer: " + entries.first(),
                      "Name: " + QStringList(entries.mid(1, input - 1)).join(','),
                      "Input: " + entries.at(input)};
    return lines + entries.mid(input + 1);
}

} // namespace

void PingCommand::onConnected()
{
    m_roundTrip.start();
    request(consoletext::heartbeat);
    awaitReply();
}

void PingCommand::onReply(const AgentReply &reply)
{
    if (reply.kind != AgentReply::Kind::Heartbeat)
        return;
    const double milliseconds = double(m_roundTrip.nsecsElapsed()) / nanoPerMilli;
    CommandOutcome result;
    result.text =
        textOf({QStringLiteral("the agent answers, after %1 ms").arg(milliseconds, 0, 'f', 1)});
    result.json["milliseconds"] = milliseconds;
    finish(result);
}

void VersionCommand::onConnected()
{
    request(consoletext::version);
    awaitReply();
}

void VersionCommand::onReply(const AgentReply &reply)
{
    if (reply.kind != AgentReply::Kind::Version)
        return;
    CommandOutcome result;
    result.text = textOf({printable(reply.text)});
    result.json["agent_version"] = reply.text;
    finish(result);
}

void ListCommand::onConnected()
{
    request(consoletext::getFirmwareList);
    awaitReply();
}

void ListCommand::onReply(const AgentReply &reply)
{
    if (reply.kind == AgentReply::Kind::Log) {
        const ProblemId cause = meaningOf(reply.text).cause;
        if (cause != ProblemId::None)
            m_problem = cause;
    } else if (reply.kind == AgentReply::Kind::FirmwareList) {
        show(reply.text);
    }
}

void ListCommand::show(const QString &text)
{
    const ProblemId problem = listProblem(text, m_problem);
    const PackageDescription package = parseDescription(text.toUtf8());
    if (problem != ProblemId::None && package.error != PackageDescription::Error::None) {
        fail(problem, text.startsWith('{') ? QString() : text);
        return;
    }
    CommandOutcome result;
    if (problem != ProblemId::None)
        result.fail(problem, {});
    result.json["package"] = listJson(package);
    QStringList lines{"Model: " + printable(package.model),
                      "Version: " + printable(package.version), QString()};
    QVector<QStringList> rows{
        {"Name", "Chip type", "Quantity", "MCU type", "PCB", "Speciality", "Version"}};
    for (const QString &line : package.firmwareList)
        rows.append(packageRow(line.split(',')));
    lines += alignedTable(rows, {1, 2, 3, 4});
    result.text = textOf(lines);
    finish(result);
}

bool EdidCommand::prepare(CommandOutcome &result)
{
    const QString name = options().file;
    QFile file(name);
    const bool isOpen =
        name == "-" ? file.open(stdin, QIODevice::ReadOnly) : file.open(QIODevice::ReadOnly);
    const DumpReading reading =
        isOpen ? readDump(file) : DumpReading{{}, file.errorString(), false};
    if (!reading.error.isEmpty()) {
        result = CommandOutcome::failed(ProblemId::FileUnreadable, name + ": " + reading.error);
        return false;
    }
    m_dump = reading.bytes;
    if (reading.extensionMissing)
        m_warnings.append({QStringLiteral("extension-missing"),
                           QStringLiteral("the dump's extension block is missing; sent as zeros"),
                           name});
    return true;
}

void EdidCommand::onConnected()
{
    agent().request("PARSEEDID||" + m_dump.toHex(' '));
    awaitReply();
}

void EdidCommand::onReply(const AgentReply &reply)
{
    if (reply.kind == AgentReply::Kind::EdidReport)
        show(reply.text);
    else if (reply.kind == AgentReply::Kind::EdidError)
        fail(ProblemId::EdidRefused, reply.text);
    else if (reply.kind == AgentReply::Kind::Log &&
             meaningOf(reply.text).cause == ProblemId::UnknownRequest)
        fail(ProblemId::UnknownRequest, reply.text);
}

void EdidCommand::show(const QString &fields)
{
    if (fields == QLatin1String(edid::text::headerError)) {
        fail(ProblemId::EdidRefused, fields);
        return;
    }
    CommandOutcome result;
    result.warnings = m_warnings;
    result.text = textOf(reportLines(fields));
    result.json["report"] = fields;
    finish(result);
}
