// SPDX-License-Identifier: Apache-2.0
#include "common/NearestWord.h"

#include <QVector>

#include <algorithm>
#include <numeric>

namespace {

/** Longer words may have more typing errors. */
int mostSlips(const QString &word)
{
    constexpr int lettersForOneMore = 4;
    return 1 + word.size() / lettersForOneMore;
}

} // namespace

int editDistance(const QString &a, const QString &b)
{
    // Rows of the usual table: for the prefixes of `a` that end two, one and no letters before
    // here.
    QVector<int> before(b.size() + 1);
    QVector<int> above(b.size() + 1);
    QVector<int> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (int i = 1; i <= a.size(); ++i) {
        before.swap(above);
        above.swap(row);
        row[0] = i;
        for (int j = 1; j <= b.size(); ++j) {
            const int change = a.at(i - 1) == b.at(j - 1) ? 0 : 1;
            row[j] = std::min({above.at(j) + 1, row.at(j - 1) + 1, above.at(j - 1) + change});
            const bool isSwap =
                i > 1 && j > 1 && a.at(i - 1) == b.at(j - 2) && a.at(i - 2) == b.at(j - 1);
            if (isSwap)
                row[j] = std::min(row.at(j), before.at(j - 2) + 1);
        }
    }
    return row.last();
}

QString nearestWord(const QString &word, const QStringList &candidates)
{
    QString nearest;
    int least = std::min(mostSlips(word), int(word.size()) - 1) + 1;
    for (const QString &candidate : candidates) {
        const int distance = editDistance(word, candidate);
        if (distance < least) {
            least = distance;
            nearest = candidate;
        }
    }
    return nearest;
}
