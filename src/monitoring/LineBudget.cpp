// SPDX-License-Identifier: Apache-2.0
#include "monitoring/LineBudget.h"

#include <algorithm>

namespace monitoring {

LineBudget::LineBudget(int burst, ms perLine)
    : m_perLine(perLine), m_most(perLine * burst), m_credit(m_most)
{
}

bool LineBudget::take(ms now)
{
    m_credit = std::min(m_most, m_credit + (now - m_last));
    m_last = now;
    if (m_credit < m_perLine) {
        ++m_leftOut;
        return false;
    }
    m_credit -= m_perLine;
    return true;
}

} // namespace monitoring
