// SPDX-License-Identifier: Apache-2.0
#include "engine/ScriptedEngine.h"

#include "engine/TestPackage.h"
#include "engine/report/EngineTexts.h"
#include "links/LinkState.h"
#include "planning/TypeAndIndexTable.h"
#include "planning/UpgradeMode.h"
#include "protocol/AppStatus.h"
#include "protocol/ChipTypes.h"
#include "support/NetFrames.h"

using platform::TimeOuts;

namespace appStatus = protocol::appStatus;
namespace chip = protocol::chip;
namespace command = protocol::command;
namespace field = package::field;
namespace mcu = protocol::mcu;
namespace result = planning::result;
namespace upgradeMode = planning::upgradeMode;

namespace {

constexpr int fpga = 17;
constexpr int shortImage = 100;
/** What one input can ask for takes far less. */
constexpr int mostTimers = 10'000;
constexpr int mostLines = 50'000;

/** One image of each chip type, so that the type determines what must have been written. */
QByteArray imageFor(int chipType)
{
    switch (chipType) {
    case chip::mainMcu:
        return patternImage(700, 1);
    case 1:
        return patternImage(512, 2);
    case 2:
        return patternImage(shortImage, 3);
    case fpga:
        return patternImage(256, 4);
    case chip::networkModule:
        return netframes::header("archive") + "archive";
    default:
        return {};
    }
}

QVector<TestImage> images(const QList<int> &chipTypes)
{
    QVector<TestImage> list;
    for (const int chipType : chipTypes) {
        TestImage image;
        image.name = QStringLiteral("CHIP%1").arg(chipType);
        image.chipType = chipType;
        image.mcuType = chipType == 1 ? 2 : 1;
        image.version = {2, 0, 0};
        image.bytes = imageFor(chipType);
        list.append(image);
    }
    return list;
}

const QList<QByteArray> &packages()
{
    static const QList<QByteArray> list{
        makePackage(images({0, 1})),
        makePackage(images({0, 1, 2, fpga, chip::networkModule})),
        makePackage(images({1, fpga}), QStringLiteral("OTHER")),
        makePackage(images({0, 1}), QStringLiteral("HX-8"), QString()),
        withVersion(makePackage(images({0})), 5),
        makePackage(images({0})).replace(0, 1, "x"),
        QByteArray("no package"),
    };
    return list;
}

DeviceDescription device()
{
    DeviceDescription description = EngineHarness::twoMcus();
    ChipDescription chip = description.chips.last();
    chip.chipType = 2;
    chip.mcuType = 1;
    description.chips.append(chip);
    chip.chipType = fpga;
    description.chips.append(chip);
    return description;
}

} // namespace

int ScriptedEngine::packageCount()
{
    return packages().size();
}

ScriptedEngine::ScriptedEngine() : m_harness(device(), m_shell.shell(), TimeOuts())
{
    canRead = false;
    currentCommandKey = 0;
    m_harness.link->failWrite = [this](const QByteArray &) { return m_failures-- > 0; };
    m_harness.link->answerInstead = [this](const QByteArray &frame) {
        m_lastWord = frame.size() > mcu::payloadOffset ? mcu::wordAt(frame, mcu::wordOffset) : 0;
        if (m_lastWord != 0)
            m_witness.sent(frame);
        const QByteArray answer = m_harness.link->deviceAnswer(frame);
        if (!answer.isEmpty())
            m_due.append(answer);
        return QList<QByteArray>();
    };
    QObject::connect(&engine(), &ControlCenter::message, &engine(),
                     [this](const QStringList &list) { hear(list); });
    engine().slotConnect(QStringLiteral("ttyS2"));
}

void ScriptedEngine::upgrade(int package, int mode, const QStringList &rows)
{
    if (engine().runActive() || rows.isEmpty())
        return;
    m_harness.setPackage(packages().at(package));
    m_mode = mode;
    m_fileImage.clear();
    m_owesStatus = true;
    engine().uploadByMergeFW(m_harness.packagePath(), rows, mode);
    check();
}

void ScriptedEngine::writeFile(int chipType)
{
    if (engine().runActive())
        return;
    const QString path = m_harness.packagePath() + QStringLiteral(".bin");
    m_fileImage = imageFor(chipType);
    QFile file(path);
    require(file.open(QIODevice::WriteOnly) && file.write(m_fileImage) == m_fileImage.size());
    file.close();
    m_mode = 0;
    m_owesStatus = true;
    engine().slotWriteMultBoard(uchar(chipType), 0, path);
    check();
}

void ScriptedEngine::listPackage()
{
    engine().getMergeFWJSON(m_harness.packagePath());
    check();
}

void ScriptedEngine::deliver(const QByteArray &bytes)
{
    if (!m_harness.link->isOpen())
        return;
    m_witness.received(bytes);
    m_harness.link->receive(bytes);
    check();
}

void ScriptedEngine::plugIn()
{
    m_harness.link->plugIn();
    engine().slotConnect(QStringLiteral("ttyS2"));
    check();
}

void ScriptedEngine::carryOn(int steps)
{
    for (int i = 0; i < steps; ++i) {
        const bool answered = answer([](const QByteArray &bytes) { return bytes; });
        if (!answered && !VirtualTime::instance().fireNext())
            return;
        check();
    }
}

void ScriptedEngine::advance(std::chrono::milliseconds time)
{
    VirtualTime::instance().advance(time);
    check();
}

void ScriptedEngine::endInSilence()
{
    int fired = 0;
    while (VirtualTime::instance().fireNext()) {
        check();
        require(++fired < mostTimers);
    }
    require(!engine().runActive() && engine().timersIdle());
}

void ScriptedEngine::check()
{
    require(engine().runActive() || !m_owesStatus);
    require(m_harness.lines.size() < mostLines && m_harness.link->sent.size() < mostLines);
}

void ScriptedEngine::hear(const QStringList &list)
{
    const int first = list.value(0) == QLatin1String(protocol::key::readProductInfo) ? 1 : 0;
    const QString what = list.value(first);
    if (what == QLatin1String(protocol::key::appStatus))
        hearStatus(list.value(first + 1));
    else if (what == QLatin1String(protocol::key::upgradeResult))
        hearResult(list.value(first + 1), list.value(first + 2));
    else if (what == QLatin1String(protocol::key::setProductInfoResult))
        require(list.value(first + 2) != QLatin1String(result::success) ||
                m_witness.isAccepted(command::writeProductInformation));
}

void ScriptedEngine::hearStatus(const QString &status)
{
    m_owesStatus = false;
    const bool ofMcus = m_mode == upgradeMode::newerOnly || m_mode == upgradeMode::forced;
    require(status != QLatin1String(appStatus::success) || !ofMcus ||
            m_witness.isAnswered(command::readProductId) ||
            m_witness.isAnswered(command::setVirtualVersion));
}

void ScriptedEngine::hearResult(const QString &row, const QString &result)
{
    require(result != QLatin1String(result::success) || claimIsTrue(row));
}

bool ScriptedEngine::claimIsTrue(const QString &row)
{
    const int installs = m_shell.commands().filter(QStringLiteral(" -xf ")).size();
    if (installs > m_installs) { // the module's own firmware
        m_installs = installs;
        return true;
    }
    if (!m_witness.isComplete())
        return false;
    // After a single file, the rows of the earlier run continue.
    if (!m_fileImage.isEmpty() && m_witness.holds(m_fileImage))
        return true;
    const QStringList fields = row.split(QLatin1Char(','));
    const int chipType = fields.value(field::chipType).toInt();
    return m_witness.chipType() == quint8(chipType) &&
           m_witness.chipIndex() == quint8(fields.value(field::chipIndex).toInt()) &&
           m_witness.holds(imageFor(chipType));
}
