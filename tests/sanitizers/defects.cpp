// SPDX-License-Identifier: Apache-2.0
// A program with the defect that its argument names.
#include <QCoreApplication>
#include <QStringList>
#include <QThread>

#include <cstdio>
#include <functional>
#include <limits>
#include <map>
#include <string>

namespace {

constexpr int rounds = 1000;

/** Two threads of the framework pass lists both ways; with a race, both count, too. */
void passLists(bool race)
{
    QThread thread;
    QObject there;
    there.moveToThread(&thread);
    thread.start();
    int counted = 0;
    int back = 0;
    QStringList kept;
    const auto answer = [&back, &kept](const QStringList &list) {
        kept = list;
        if (++back == rounds)
            QCoreApplication::quit();
    };
    for (int round = 0; round < rounds; ++round) {
        const QStringList list{QString::number(round), QStringLiteral("text")};
        const auto take = [&counted, &answer, race, list] {
            if (race)
                ++counted;
            QMetaObject::invokeMethod(
                qApp, [&answer, list] { answer(list + list); }, Qt::QueuedConnection);
        };
        QMetaObject::invokeMethod(&there, take, Qt::QueuedConnection);
        if (race)
            ++counted;
    }
    QCoreApplication::exec();
    thread.quit();
    thread.wait();
    std::printf("%d %d %d\n", counted, back, kept.size());
}

void useAfterFree()
{
    auto *const volatile number = new int(1);
    delete number;
    std::printf("%d\n", *number);
}

void leak()
{
    int *volatile number = new int(1);
    number = nullptr;
    std::printf("%p\n", static_cast<void *>(number));
}

void overflow()
{
    volatile int number = std::numeric_limits<int>::max();
    number = number + 1;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const std::map<std::string, std::function<void()>> defects{
        {"none", [] { passLists(false); }},
        {"race", [] { passLists(true); }},
        {"use-after-free", useAfterFree},
        {"leak", leak},
        {"overflow", overflow},
    };
    const auto found = defects.find(argc > 1 ? argv[1] : "");
    if (found == defects.end())
        return 2;
    found->second();
    return 0;
}
