// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

#include <functional>

namespace netupgrade {

/**
 * Refuses images for the module itself that are sent block by block while packages must be signed:
 * nothing signs such an image. Whether they must be is asked at the start of a transfer and before
 * its last block, which would be installed. A refused transfer stays refused.
 */
class BlocksGate
{
public:
    /** The line that refuses an image now; empty when blocks are accepted. */
    using Refusal = std::function<QString()>;

    struct Decision
    {
        bool isRefused = false;
        /** To be reported before the answer, once in a transfer; empty otherwise. */
        QString line;
    };

    explicit BlocksGate(Refusal refusal);

    /** The sender wants to begin a transfer. */
    Decision enter();
    Decision block(bool isFirst, bool isLast);

private:
    Decision ask();

    Refusal m_refusal;
    /** Blocks without a beginning are decided upon, too. */
    bool m_hasAsked = false;
    bool m_isRefused = false;
    bool m_hasReported = false;
    bool m_isOver = false;
};

/** The refusal for the keys in a folder. */
BlocksGate::Refusal signedPackagesOnly(const QString &keyFolder);

} // namespace netupgrade
