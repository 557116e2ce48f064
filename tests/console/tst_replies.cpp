// SPDX-License-Identifier: Apache-2.0
// Which client gets a reply, when it leaves, and which client is dropped for not reading.
#include "console/ConsoleReplies.h"
#include "console/FakeClients.h"
#include "support/TestCase.h"

#include <QtTest>

namespace tst_replies {

using console::ClientPointer;
using console::ConsoleClient;
using console::ConsoleReplies;
using platform::Limits;

namespace {

constexpr qint64 oneLimit = 1000;
constexpr qint64 allLimit = 2500;

struct Replies
{
    explicit Replies(int count) : clients(count), replies(clients.all, limits()) {}

    static Limits limits()
    {
        Limits limits;
        limits.unreadReplies = oneLimit;
        limits.allUnreadReplies = allLimit;
        return limits;
    }

    FakeConnection &connection(int index) { return clients.connections.at(size_t(index)); }
    const ConsoleClient &client(int index) const { return *clients.all.at(index); }

    /** The client takes nothing of so many bytes. */
    void sendUnread(int index, int bytes)
    {
        connection(index).takesBytes = false;
        replies.sendTo(client(index), QByteArray(bytes, 'x'));
    }

    QList<int> drops() const
    {
        QList<int> drops;
        for (const FakeConnection &connection : clients.connections)
            drops.append(connection.drops);
        return drops;
    }

    FakeClients clients;
    ConsoleReplies replies;
};

void expectDrop(int port)
{
    QTest::ignoreMessage(
        QtWarningMsg,
        qPrintable(QString("a client does not read its replies: \"10.0.0.1\" %1").arg(port)));
}

} // namespace

class TestReplies : public QObject
{
    Q_OBJECT

private slots:
    void noTarget()
    {
        Replies all(1);
        all.replies.send(QString("x"));
        QVERIFY(all.connection(0).sent.isEmpty());
        QCOMPARE(all.replies.target().port, quint16(0));
    }

    void target()
    {
        Replies all(3);
        all.replies.setTarget(all.clients.all.at(1));
        all.replies.send(QString("one"));
        all.replies.send(QString("two"));
        QCOMPARE(all.connection(1).sent, (QByteArrayList{"one", "two"}));
        QVERIFY(all.connection(0).sent.isEmpty());
        QVERIFY(all.connection(2).sent.isEmpty());
        QCOMPARE(all.replies.target().port, quint16(2));
    }

    /** A client that has come from the same place since takes its place. */
    void targetHasLeft()
    {
        Replies all(2);
        const ClientPointer left = all.clients.all.takeFirst();
        all.replies.setTarget(left);
        left->connection = nullptr;
        all.replies.send(QString("nowhere"));
        all.clients.add({QStringLiteral("10.0.0.2"), 1});
        all.clients.add({QStringLiteral("10.0.0.1"), 1});
        all.replies.send(QString("x"));
        QCOMPARE(all.connection(3).sent, QByteArrayList{"x"});
        QVERIFY(all.connection(0).sent.isEmpty());
        QVERIFY(all.connection(1).sent.isEmpty());
        QVERIFY(all.connection(2).sent.isEmpty());
    }

    void targetHasClosedItsSide()
    {
        Replies all(1);
        all.replies.setTarget(all.clients.all.first());
        all.connection(0).state = FakeConnection::State::Closing;
        all.replies.send(QString("x"));
        all.replies.sendTo(all.client(0), "y");
        QVERIFY(all.connection(0).sent.isEmpty());
    }

    void texts()
    {
        Replies all(1);
        all.replies.setTarget(all.clients.all.first());
        all.replies.send(QString::fromUtf8("caf\xc3\xa9 \xe2\x82\xac"));
        all.replies.send(QLatin1String("plain"));
        all.replies.send(QByteArray("\0\xff", 2));
        QCOMPARE(all.connection(0).sent,
                 (QByteArrayList{"caf\xe9 ?", "plain", QByteArray("\0\xff", 2)}));
    }

    void collected()
    {
        Replies all(1);
        all.replies.setTarget(all.clients.all.first());
        all.replies.collect([&] {
            all.replies.send(QString("one "));
            all.replies.send(QString("two"));
            QVERIFY(all.connection(0).sent.isEmpty());
        });
        all.replies.send(QString("three"));
        QCOMPARE(all.connection(0).sent, (QByteArrayList{"one two", "three"}));
    }

    void collectedForTwo()
    {
        Replies all(2);
        all.replies.setTarget(all.clients.all.first());
        all.replies.collect([&] {
            all.replies.send(QString("one"));
            all.replies.sendTo(all.client(1), "other");
            QCOMPARE(all.connection(0).sent, QByteArrayList{"one"});
            all.replies.send(QString("two"));
        });
        QCOMPARE(all.connection(0).sent, (QByteArrayList{"one", "two"}));
        QCOMPARE(all.connection(1).sent, QByteArrayList{"other"});
    }

    void collectedIsMuch()
    {
        Replies all(1);
        const QByteArray half(32'768, 'x');
        all.replies.collect([&] {
            all.replies.sendTo(all.client(0), half);
            all.replies.sendTo(all.client(0), half);
            QVERIFY(all.connection(0).sent.isEmpty());
            all.replies.sendTo(all.client(0), "y");
            QCOMPARE(all.connection(0).sent, QByteArrayList{half + half + "y"});
            all.replies.sendTo(all.client(0), "z");
        });
        QCOMPARE(all.connection(0).sent.value(1), QByteArray("z"));
    }

    void collectedIsFlushed()
    {
        Replies all(1);
        all.replies.collect([&] {
            all.replies.sendTo(all.client(0), "one");
            all.replies.flush();
            QCOMPARE(all.connection(0).sent, QByteArrayList{"one"});
        });
        QCOMPARE(all.connection(0).sent, QByteArrayList{"one"});
    }

    /** The mark stays when the client has taken its replies: the memory they needed is not given
     * back before it leaves. A client that is dropped has it, too. */
    void marksClientsWithUnreadReplies()
    {
        Replies all(3);
        all.sendUnread(0, 10);
        all.connection(0).kept = 0;
        all.replies.sendTo(all.client(1), "read");
        QVERIFY(all.client(0).isSlow);
        expectDrop(3);
        all.sendUnread(2, oneLimit + 1);
        QVERIFY(all.client(0).isSlow);
        QVERIFY(!all.client(1).isSlow);
        QVERIFY(all.client(2).isSlow);
    }

    void oneClientLeavesTooMuchUnread()
    {
        Replies all(3);
        all.sendUnread(0, 10);
        all.sendUnread(1, oneLimit);
        QCOMPARE(all.drops(), (QList<int>{0, 0, 0}));
        expectDrop(2);
        all.sendUnread(1, 1);
        QCOMPARE(all.drops(), (QList<int>{0, 1, 0}));
    }

    /** None of them has too much by itself. */
    void allClientsLeaveTooMuchUnread()
    {
        Replies all(4);
        all.sendUnread(0, 800);
        all.sendUnread(1, 900);
        all.sendUnread(2, 800);
        QCOMPARE(all.drops(), (QList<int>{0, 0, 0, 0}));
        expectDrop(2);
        all.sendUnread(3, 1);
        QCOMPARE(all.drops(), (QList<int>{0, 1, 0, 0}));
        all.sendUnread(3, 899);
        QCOMPARE(all.drops(), (QList<int>{0, 1, 0, 0}));
        expectDrop(4);
        all.sendUnread(2, 1);
        QCOMPARE(all.drops(), (QList<int>{0, 1, 0, 1}));
    }

    /** A reply that goes out at once looks at no other client. */
    void unreadRepliesOfOthersCount()
    {
        Replies all(2);
        all.connection(0).kept = oneLimit + 1;
        all.replies.sendTo(all.client(1), "x");
        QCOMPARE(all.drops(), (QList<int>{0, 0}));
        expectDrop(1);
        all.sendUnread(1, 1);
        QCOMPARE(all.drops(), (QList<int>{1, 0}));
    }

    void droppedClientGetsNothing()
    {
        Replies all(1);
        all.replies.setTarget(all.clients.all.first());
        all.connection(0).takesBytes = false;
        expectDrop(1);
        all.replies.collect([&] {
            all.replies.send(QByteArray(70'000, 'x'));
            QCOMPARE(all.drops(), QList<int>{1});
            all.replies.send(QString("y"));
        });
        QCOMPARE(all.connection(0).sent.size(), 1);
    }
};

AGENT_TEST(TestReplies)

} // namespace tst_replies

#include "tst_replies.moc"
