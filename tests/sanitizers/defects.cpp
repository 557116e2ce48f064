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

constexpr int rounds = 1000;

/** A value that Qt copies for a queued slot. */
struct Parcel
{
    QString text;
    int number = 0;
    int *counted = nullptr;
};
Q_DECLARE_METATYPE(Parcel)

class Sender : public QObject
{
    Q_OBJECT

signals:
    void sent(const Parcel &parcel);
    /** Has no slots but direct ones. */
    void counted(int number);
};

class Receiver : public QObject
{
public:
    void take(const Parcel &parcel)
    {
        m_lengths += parcel.text.size() + parcel.number;
        if (parcel.counted != nullptr)
            ++*parcel.counted;
        if (parcel.number == rounds)
            QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection);
    }

    int lengths() const { return m_lengths; }

private:
    int m_lengths = 0;
};

namespace {

/** Two QThreads send lists to each other; with a race, both also change a counter. */
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

/** A thread sends parcels to another; with a race, both change a counter after the last one. */
void sendParcels(bool race)
{
    qRegisterMetaType<Parcel>();
    QThread thread;
    Receiver receiver;
    receiver.moveToThread(&thread);
    thread.start();
    int counted = 0;
    Sender sender;
    Sender inner;
    // The slot before the queued one emits a signal of another object.
    QObject::connect(&sender, &Sender::sent,
                     [&inner](const Parcel &parcel) { emit inner.counted(parcel.number); });
    QObject::connect(&sender, &Sender::sent, &receiver, &Receiver::take);
    for (int round = 1; round <= rounds; ++round)
        emit sender.sent({QString::number(round), round, race ? &counted : nullptr});
    if (race)
        ++counted;
    QCoreApplication::exec();
    thread.quit();
    thread.wait();
    std::printf("%d %d\n", counted, receiver.lengths());
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
        {"no-race-by-signal", [] { sendParcels(false); }},
        {"race-by-signal", [] { sendParcels(true); }},
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

#include "defects.moc"
