// SPDX-License-Identifier: Apache-2.0
#include "planning/RunPlan.h"

#include "package/NetMerge.h"
#include "planning/RunRules.h"
#include "planning/VirtualVersion.h"
#include "protocol/BlockPayload.h"
#include "protocol/ChipTypes.h"

namespace block = protocol::block;
namespace chip = protocol::chip;
namespace field = package::field;
using bytes::ByteSource;
using bytes::PartSource;
using package::checkNetImage;
using package::MatchMask;

namespace planning {

namespace {

using Fate = PlannedRow::Fate;

QString flag(bool isSet)
{
    return isSet ? QStringLiteral("1") : QStringLiteral("0");
}

/** The rows of a run, and a device that answers with known values. */
class Walk
{
public:
    Walk(const PlannedRequest &request, const PlannedPackage &package, ByteSource &source)
        : m_request(request),
          m_package(package),
          m_source(source),
          m_mask(maskOf(request.mode)),
          m_rows(TypeAndIndexTable::completeRows(request.rows, request.mode)),
          m_chips(request.chips)
    {
        m_plan.rows.resize(m_rows.count());
    }

    RunPlan plan();

private:
    bool modelFits() const;
    bool readAll();
    bool read(int line);
    void readVersion(int line);
    void decide(int line);
    Fate fateOf(int line, PlannedRow &row);
    Fate sendImage(int line, PlannedRow &row);
    Fate write(int line);
    PlannedChip *chipOf(int line);

    const PlannedRequest &m_request;
    const PlannedPackage &m_package;
    ByteSource &m_source;
    const MatchMask m_mask;
    TypeAndIndexTable m_rows;
    QVector<PlannedChip> m_chips;
    /** The row that was written before all others; -1 for none. */
    int m_firstLine = -1;
    RunPlan m_plan;
};

RunPlan Walk::plan()
{
    for (int line = 0; line < m_rows.count(); ++line)
        m_plan.rows[line].isSilent =
            chipOf(line) == nullptr && m_rows.number(line, field::chipType) != chip::networkModule;
    if (!modelFits())
        m_plan.end = RunPlan::End::WrongModel;
    else if (readAll()) {
        for (int line = 0; line < m_rows.count(); ++line)
            readVersion(line);
        for (int line = 0; line < m_rows.count(); ++line) {
            if (line != m_firstLine)
                decide(line);
        }
        m_plan.virtualVersion = virtualVersionAfter(m_plan.written > 0, m_package.release);
    }
    for (int line = 0; line < m_rows.count(); ++line) {
        if (m_plan.rows.at(line).fields.isEmpty())
            m_plan.rows[line].fields = m_rows.fields(line);
    }
    return m_plan;
}

bool Walk::modelFits() const
{
    return !comparesModel(m_request.mode) || !m_request.model ||
           modelName(*m_request.model) == m_package.model;
}

/** Reads everything except the versions; false when the run ends there. */
bool Walk::readAll()
{
    for (int line = 0; line < m_rows.count(); ++line) {
        if (!read(line))
            return false;
    }
    return true;
}

bool Walk::read(int line)
{
    if (m_rows.isFpga(line))
        return true;
    const PlannedChip *const chip = chipOf(line);
    if (chip == nullptr) {
        const bool isEnd = silenceEndsRun(m_rows, line);
        m_plan.end = isEnd ? RunPlan::End::MainSilent : m_plan.end;
        return !isEnd;
    }
    m_rows.setValue(line, field::mcuType, chip->mcuType);
    m_rows.setValue(line, field::bootcodeFlag, flag(chip->runsBootcode));
    m_rows.setValue(line, field::productInfoFlag, flag(chip->recordIsValid));
    if (recordEndsRun(m_rows, line, chip->recordIsValid)) {
        m_plan.end = RunPlan::End::RecordInvalid;
        return false;
    }
    m_rows.setValue(line, field::pcbVersion, chip->pcbVersion);
    m_rows.setValue(line, field::speciality, chip->speciality);
    if (m_firstLine < 0 && goesFirst(m_rows, line)) {
        m_firstLine = line;
        m_plan.rows[line].goesFirst = true;
        decide(line);
    }
    return true;
}

void Walk::readVersion(int line)
{
    const PlannedChip *const chip = chipOf(line);
    for (int i = 0; chip != nullptr && i < chip->version.size(); ++i)
        m_rows.setValue(line, field::ver1 + i, chip->version.at(i));
}

void Walk::decide(int line)
{
    PlannedRow &row = m_plan.rows[line];
    row.fields = m_rows.fields(line);
    row.decision = decideForRow(row.fields, m_package.firmwareList, m_mask);
    row.fate = fateOf(line, row);
    m_plan.written += row.fate == Fate::Written ? 1 : 0;
}

Fate Walk::fateOf(int line, PlannedRow &row)
{
    switch (row.decision.verdict) {
    case Decision::Verdict::Send:
        return sendImage(line, row);
    case Decision::Verdict::NotNewer:
        return Fate::NotNewer;
    case Decision::Verdict::NoMatch:
        return Fate::NoMatch;
    case Decision::Verdict::NoFirmware:
        return Fate::NoFirmware;
    case Decision::Verdict::BadRow:
        break;
    }
    return Fate::BadRow;
}

Fate Walk::sendImage(int line, PlannedRow &row)
{
    const ImageChoice choice = chooseImage(m_rows, line, m_mask, m_source, m_request.images);
    switch (choice.kind) {
    case ImageChoice::Kind::Write:
        row.image = choice.record;
        return write(line);
    case ImageChoice::Kind::Install: {
        row.image = choice.record;
        PartSource image(m_source, choice.record->imageOffset, choice.record->length);
        return checkNetImage(image).installs() ? Fate::Written : Fate::NotWritten;
    }
    case ImageChoice::Kind::NotHandled:
        return Fate::NotHandled;
    case ImageChoice::Kind::BadChip:
        return Fate::BadRow;
    case ImageChoice::Kind::NoImage:
    case ImageChoice::Kind::TooLong:
        break;
    }
    return Fate::NoImage;
}

/** No chip accepts an image shorter than a block as complete. */
Fate Walk::write(int line)
{
    PlannedChip *const chip = chipOf(line);
    if (chip == nullptr || m_plan.rows.at(line).image->length < block::dataSize)
        return Fate::NotWritten;
    if (!chip->versionAfterImage.isEmpty())
        chip->version = chip->versionAfterImage;
    return Fate::Written;
}

PlannedChip *Walk::chipOf(int line)
{
    const int index = m_request.chipOfRow.value(line, -1);
    return index < 0 || index >= m_chips.size() ? nullptr : &m_chips[index];
}

} // namespace

RunPlan planRun(const PlannedRequest &request, const PlannedPackage &package, ByteSource &source)
{
    return Walk(request, package, source).plan();
}

} // namespace planning
