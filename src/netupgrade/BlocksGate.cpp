// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/BlocksGate.h"

#include "netupgrade/NetTexts.h"
#include "signing/SigningTexts.h"
#include "signing/TrustedKeys.h"

#include <utility>

namespace signtext = signing::signtext;
using protocol::filled;
using signing::readKeyFolder;
using signing::TrustedKeys;

namespace netupgrade {

BlocksGate::BlocksGate(Refusal refusal) : m_refusal(std::move(refusal)) {}

BlocksGate::Decision BlocksGate::enter()
{
    m_isRefused = false;
    m_hasReported = false;
    m_isOver = false;
    return ask();
}

BlocksGate::Decision BlocksGate::block(bool isFirst, bool isLast)
{
    if (isFirst && m_isOver)
        return enter();
    if (isFirst)
        m_isRefused = false;
    m_isOver = isLast;
    if (isFirst || isLast || !m_hasAsked)
        return ask();
    return {m_isRefused, {}};
}

BlocksGate::Decision BlocksGate::ask()
{
    m_hasAsked = true;
    QString line = m_refusal();
    m_isRefused = m_isRefused || !line.isEmpty();
    if (line.isEmpty() || std::exchange(m_hasReported, true))
        return {m_isRefused, {}};
    return {true, line};
}

BlocksGate::Refusal signedPackagesOnly(const QString &keyFolder)
{
    return [keyFolder] {
        const TrustedKeys keys = readKeyFolder(keyFolder);
        if (!keys.areUsable())
            return filled(signtext::keysUnusable, keys.unusable);
        return keys.areInstalled() ? filled(nettext::signedOnly) : QString();
    };
}

} // namespace netupgrade
