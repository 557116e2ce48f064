// SPDX-License-Identifier: Apache-2.0
#include "engine/EngineParts.h"

#include "planning/LateAnswer.h"
#include "platform/Log.h"
#include "protocol/CommandWords.h"

namespace command = protocol::command;
namespace field = package::field;
using bytes::ByteSource;
using planning::rowOfLateAnswer;
using planning::TypeAndIndexTable;
using platform::logEngine;
using platform::Platform;
using protocol::Reply;

namespace engine {

ReportParts::ReportParts(const EngineSinks &sinks)
    : output(sinks.message), report(sinks.event), progress(rows, output, report, sinks.percent)
{
}

DeviceParts::DeviceParts(const EngineSinks &sinks, const CommandChannel::LateAnswer &isLate,
                         const Platform &platform, const LinkFactory &factory, QObject *owner)
    : ReportParts(sinks),
      guard(platform.timeOuts.runGuard, owner),
      links(factory, output, platform.ports.baudRate, owner),
      channel(links, guard, isLate, platform, owner),
      writer(channel, rows, output, report, platform, owner)
{
}

EngineParts::EngineParts(const EngineSinks &sinks, const Platform &platform,
                         const LinkFactory &factory, QObject *owner)
    : DeviceParts(
          sinks, [this](const Reply &reply) { return isLateAnswer(reply); }, platform, factory,
          owner),
      shelf(
          output, [this] { reportUnreadablePackage(rows, output, progress); }, platform.paths.keys),
      package(platform.paths.keys),
      builder(output),
      end({guard, channel, writer, package, rows, output, report, progress}),
      netInstall({output, report, progress,
                  [this](quint16 word, quint8 status) { return channel.sendStatus(word, status); },
                  [this](const RunOutcome &outcome) { end.finish(outcome); }},
                 platform),
      upgrade({rows, shelf, package, output, report, progress,
               [this](quint8 type, quint8 index, const QByteArray &image) {
                   writer.write(type, index, image);
               },
               [this](ByteSource &image) { return netInstall.installFromPackage(image); }},
              platform),
      infoRead(rows, output),
      infoWrite(
          rows, output,
          [this](const QByteArray &payload) {
              channel.request(command::writeProductInformation, payload);
          },
          [this] { return shelf.json(); }),
      context{rows, channel, output, report, shelf, writer, upgrade, infoRead, infoWrite, end},
      steps({output, report, [this](Step step) { return rows.value(rowOf(step), field::name); },
             [this](Action action, const Reply &reply) { return action(context, reply); }})
{
}

int EngineParts::rowOf(Step step) const
{
    const bool writesInfo = step >= Step::WriteInfo && step <= Step::WriteInfoGivenUp;
    return writesInfo ? infoWrite.index() : rows.index();
}

/** A late reply for another row; the wait for the current row's reply continues. */
bool EngineParts::isLateAnswer(const Reply &reply) const
{
    const TypeAndIndexTable table = rows.table();
    const int current = rowOf(steps.step());
    const int row = rowOfLateAnswer(reply, table, current);
    if (row < 0)
        return false;
    qCDebug(logEngine) << "late answer of" << table.value(row, field::name)
                       << "dropped, awaiting that of" << table.value(current, field::name);
    return true;
}

} // namespace engine
