// SPDX-License-Identifier: Apache-2.0
#include "engine/ControlCenter.h"
#include "engine/EngineTexts.h"
#include "engine/Say.h"
#include "engine/Steps.h"
#include "planning/ProductReport.h"
#include "planning/VirtualVersion.h"
#include "platform/Log.h"
#include "protocol/CommandWords.h"

void ControlCenter::getProductInfo()
{
    if (refusesDuringRun("read of product information"))
        return;
    if (!linkIsOpen()) {
        emit message({QString::fromLatin1(key::readProductInfo), filled(text::notConnected)});
        return;
    }
    endRun();
    m_run = m_claim.take();
    m_reading = true;
    m_operationKind = upgradeMode::readProductInformation;
    m_productInfos = QStringList{filled(text::infoHeading)};
    {
        const std::lock_guard lock(m_mutex);
        m_TypeAndIndexs = TypeAndIndexTable({QStringLiteral("MAIN,0,0,,,,,,,,,0,0")});
        m_mcuIndex = 0;
    }
    m_retryCount = 0;
    m_step = step::virtualVersion;
    sayInChain(filled(text::readVirtualVersion));
    sendVirtualVersionRead();
    qCDebug(logEngine) << "successfully send vwSendCommand\n";
}

/** FPGAs have no bootcode, so the walk goes past them to the next row that has. */
void ControlCenter::readBootCodeInfo()
{
    while (hasCurrentRow() && currentIsFpga()) {
        sayInChain(filled(text::bootcodeIgnoresFpga, currentName()));
        m_step = step::bootcode;
        setMcuIndex(mcuIndex() + 1);
    }
    if (!hasCurrentRow()) {
        sayInChain(filled(text::allInfoRead));
        setMcuIndex(0);
        m_step = step::version;
        readVersionInfo();
        return;
    }
    sayInChain(filled(text::readBootcode, currentName()));
    m_report.reading(currentMcu());
    sendChipCommand(command::readBootcode);
    restartCommandTimer();
}

void ControlCenter::readProductInfo()
{
    sayInChain(filled(text::readProductInfo, currentName()));
    sendChipCommand(command::readProductInformation);
    restartCommandTimer();
}

void ControlCenter::readVersionInfo()
{
    if (!hasCurrentRow()) {
        versionsDone();
        return;
    }
    sayInChain(filled(text::readVersion, currentName()));
    m_report.reading(currentMcu());
    sendChipCommand(command::readVersion);
    restartCommandTimer();
}

void ControlCenter::setVirtualVersion()
{
    sendWriteStr(command::setVirtualVersion, 1, {virtualVersionByte(package().version)});
    restartCommandTimer();
}

void ControlCenter::convertAllProductInfo()
{
    {
        const std::lock_guard lock(m_mutex);
        for (int line = 0; line < m_TypeAndIndexs.count(); ++line)
            m_productInfos.append(productReport::rowText(m_TypeAndIndexs.fields(line)));
    }
    emit message(QStringList{QString::fromLatin1(key::showProductInfo)} + m_productInfos);
}
