// SPDX-License-Identifier: Apache-2.0
#include "engine/runs/InfoWrite.h"

#include "engine/report/EngineOutput.h"
#include "engine/report/RunRows.h"
#include "planning/ProductCommand.h"
#include "platform/Log.h"
#include "protocol/ChipTypes.h"
#include "protocol/CommandWords.h"
#include "protocol/WireText.h"

#include <algorithm>
#include <utility>

namespace chip = protocol::chip;
namespace field = package::field;
namespace productCommand = planning::productCommand;
namespace result = planning::result;
using platform::logEngine;
using protocol::filled;

namespace engine {

namespace {

/** A row to write needs all fields up to its speciality. */
constexpr int fieldsToWrite = field::speciality + 1;

/** A description may be sent with the rows; its first character identifies it. */
QString takeDescription(QStringList &rows)
{
    for (int i = 0; i < rows.size(); ++i) {
        if (rows.at(i).trimmed().startsWith(QLatin1Char('{')))
            return rows.takeAt(i);
    }
    return {};
}

bool areWritable(const QStringList &rows)
{
    return std::all_of(rows.begin(), rows.end(), [](const QString &row) {
        return row.split(QLatin1Char(',')).size() >= fieldsToWrite;
    });
}

} // namespace

InfoWrite::InfoWrite(RunRows &rows, const EngineOutput &output,
                     std::function<void(const QByteArray &payload)> send,
                     std::function<QString()> storedDescription)
    : m_rows(rows),
      m_output(output),
      m_send(std::move(send)),
      m_storedDescription(std::move(storedDescription))
{
}

std::optional<Event> InfoWrite::start()
{
    if (m_given.isEmpty()) {
        m_output.say(filled(text::infoEmpty));
        return Event::InfoWritesDone;
    }
    QStringList rows = m_given;
    const QString given = takeDescription(rows);
    takeApart((given.isEmpty() ? m_storedDescription() : given).toUtf8());
    if (m_description.isNull() || !areWritable(rows)) {
        m_output.say(filled(text::infoMalformed));
        return Event::InfoWritesDone;
    }
    for (QString &row : rows)
        row += QLatin1String(field::noFlags);
    qCDebug(logEngine) << "m_TypeAndIndexs:" << rows;
    m_rows.replace(rows);
    m_output.say(filled(text::startInfoWrites));
    m_productInfoIndex = 0;
    return writeCurrent();
}

void InfoWrite::takeApart(const QByteArray &text)
{
    const productCommand::Description description = productCommand::parse(text);
    m_description = description.document;
    if (m_description.isNull())
        qCDebug(logEngine) << "===> please check the string " << text << description.error;
    else if (m_description.isObject())
        qCDebug(logEngine) << "Document is an object";
}

std::optional<Event> InfoWrite::writeCurrent()
{
    for (;; ++m_productInfoIndex) {
        qCDebug(logEngine) << "m_productInfoIndex:" << m_productInfoIndex;
        if (m_productInfoIndex >= m_rows.count()) {
            m_output.say(filled(text::allInfoWritten));
            return Event::InfoWritesDone;
        }
        if (chip::isFpga(m_rows.value(m_productInfoIndex, field::chipType).toInt())) {
            m_output.say(filled(text::writeIgnoresFpga, currentName()));
            continue;
        }
        m_output.say(filled(text::startInfoWrite, currentName()));
        const QByteArray payload = payloadOf(m_productInfoIndex);
        qCDebug(logEngine) << "sendData.size():" << payload.size();
        if (!payload.isEmpty()) {
            m_send(payload);
            return {};
        }
        report(result::failed);
    }
}

void InfoWrite::endCurrent(bool written)
{
    report(written ? result::success : result::failed);
    ++m_productInfoIndex;
}

QString InfoWrite::currentName() const
{
    return m_rows.value(m_productInfoIndex, field::name);
}

QByteArray InfoWrite::payloadOf(int line) const
{
    const productCommand::Command command =
        productCommand::build(m_rows.table().row(line).split(QLatin1Char(',')), m_description);
    if (command.error == productCommand::Error::NotAnObject)
        m_output.say(filled(text::badDescription));
    else if (command.error == productCommand::Error::NoMatchingChip)
        m_output.say(filled(text::badChips));
    return command.payload;
}

void InfoWrite::report(const char *result) const
{
    m_output.list({QString::fromLatin1(protocol::key::setProductInfoResult),
                   m_rows.table().row(m_productInfoIndex), QString::fromLatin1(result)});
}

} // namespace engine
