// SPDX-License-Identifier: Apache-2.0
// Which client gets a reply, when it leaves, and which client is dropped for not reading.
#include "console/ConsoleReplies.h"
#include "console/FakeClients.h"
#include "support/TestCase.h"

namespace console::tst_replies {

namespace {

constexpr int oneLimit = 1000;
constexpr int allLimit = 2500;

/** The first client is the target. */
struct Replies
{
    explicit Replies(int count) : clients(count), replies(clients.all, limits())
    {
        replies.setTarget(clients.all.first());
    }

    static platform::Limits limits()
    {
        platform::Limits limits;
        limits.unreadReplies = oneLimit;
        limits.allUnreadReplies = allLimit;
        return limits;
    }

    void sendTo(int index, const QByteArray &bytes)
    {
        replies.sendTo(*clients.all.at(index), bytes);
    }

    /** The client takes nothing of so many bytes. Returns which clients have been dropped. */
    QList<int> dropsAfterUnread(int index, int bytes)
    {
        clients.connection(index).takesBytes = false;
        sendTo(index, QByteArray(bytes, 'x'));
        return drops();
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
        FakeClients clients(1);
        ConsoleReplies replies(clients.all, {});
        replies.send(QString("x"));
        QCOMPARE(clients.sent(), QStringList{""});
        QCOMPARE(replies.target().port, quint16(0));
    }

    void target()
    {
        Replies all(3);
        all.replies.setTarget(all.clients.all.at(1));
        all.replies.send(QString("one"));
        all.replies.send(QString("two"));
        QCOMPARE(all.clients.sent(), (QStringList{"", "one + two", ""}));
        QCOMPARE(all.replies.target().port, quint16(2));
    }

    /** A client that has come from the same place since takes its place. */
    void targetHasLeft()
    {
        Replies all(2);
        all.clients.all.takeFirst()->connection = nullptr;
        all.replies.send(QString("nowhere"));
        all.clients.add({QStringLiteral("10.0.0.2"), 1});
        all.clients.add({QStringLiteral("10.0.0.1"), 1});
        all.replies.send(QString("x"));
        QCOMPARE(all.clients.sent(), (QStringList{"", "", "", "x"}));
    }

    void targetHasClosedItsSide()
    {
        Replies all(1);
        all.clients.connection(0).state = FakeConnection::State::Closing;
        all.replies.send(QString("x"));
        all.sendTo(0, "y");
        QCOMPARE(all.clients.sent(), QStringList{""});
    }

    void texts()
    {
        Replies all(1);
        all.replies.send(QString::fromUtf8("caf\xc3\xa9 \xe2\x82\xac"));
        all.replies.send(QLatin1String("plain"));
        all.replies.send(QByteArray("\0\xff", 2));
        QCOMPARE(all.clients.connection(0).sent,
                 (QByteArrayList{"caf\xe9 ?", "plain", QByteArray("\0\xff", 2)}));
    }

    void collected()
    {
        Replies all(2);
        all.replies.collect([&] {
            all.replies.send(QString("1"));
            all.replies.send(QString("2"));
            QCOMPARE(all.clients.sent(), (QStringList{"", ""}));
            all.sendTo(1, "other");
            QCOMPARE(all.clients.sent(), (QStringList{"12", ""}));
            all.replies.send(QString("3"));
            QCOMPARE(all.clients.sent(), (QStringList{"12", "other"}));
            all.replies.flush();
            QCOMPARE(all.clients.sent(), (QStringList{"12 + 3", "other"}));
            all.replies.send(QString("4"));
        });
        all.replies.send(QString("5"));
        QCOMPARE(all.clients.sent(), (QStringList{"12 + 3 + 4 + 5", "other"}));
    }

    void collectedIsMuch()
    {
        Replies all(1);
        const QByteArray half(32'768, 'x');
        all.replies.collect([&] {
            all.replies.send(half);
            all.replies.send(half);
            QCOMPARE(all.clients.sent(), QStringList{""});
            all.replies.send(QString("y"));
            all.replies.send(QString("z"));
        });
        QCOMPARE(all.clients.connection(0).sent, (QByteArrayList{half + half + "y", "z"}));
    }

    /** The mark stays when the client has taken its replies: the memory they needed is not given
     * back before it leaves. A client that is dropped has it, too. */
    void marksClientsWithUnreadReplies()
    {
        Replies all(3);
        all.dropsAfterUnread(0, 10);
        all.clients.connection(0).kept = 0;
        all.sendTo(1, "read");
        QVERIFY(all.clients.all.at(0)->isSlow);
        expectDrop(3);
        all.dropsAfterUnread(2, oneLimit + 1);
        QVERIFY(all.clients.all.at(0)->isSlow);
        QVERIFY(!all.clients.all.at(1)->isSlow);
        QVERIFY(all.clients.all.at(2)->isSlow);
    }

    void oneClientLeavesTooMuchUnread()
    {
        Replies all(3);
        all.dropsAfterUnread(0, 10);
        QCOMPARE(all.dropsAfterUnread(1, oneLimit), (QList<int>{0, 0, 0}));
        expectDrop(2);
        QCOMPARE(all.dropsAfterUnread(1, 1), (QList<int>{0, 1, 0}));
    }

    /** None of them has too much by itself. */
    void allClientsLeaveTooMuchUnread()
    {
        Replies all(4);
        all.dropsAfterUnread(0, 800);
        all.dropsAfterUnread(1, 900);
        QCOMPARE(all.dropsAfterUnread(2, 800), (QList<int>{0, 0, 0, 0}));
        expectDrop(2);
        QCOMPARE(all.dropsAfterUnread(3, 1), (QList<int>{0, 1, 0, 0}));
        QCOMPARE(all.dropsAfterUnread(3, 899), (QList<int>{0, 1, 0, 0}));
        expectDrop(4);
        QCOMPARE(all.dropsAfterUnread(2, 1), (QList<int>{0, 1, 0, 1}));
    }

    /** A reply that is sent at once looks at no other client. */
    void unreadRepliesOfOthersCount()
    {
        Replies all(2);
        all.clients.connection(0).kept = oneLimit + 1;
        all.sendTo(1, "x");
        QCOMPARE(all.drops(), (QList<int>{0, 0}));
        expectDrop(1);
        QCOMPARE(all.dropsAfterUnread(1, 1), (QList<int>{1, 0}));
    }

    void droppedClientGetsNothing()
    {
        Replies all(1);
        expectDrop(1);
        all.replies.collect([&] {
            QCOMPARE(all.dropsAfterUnread(0, 70'000), QList<int>{1});
            all.replies.send(QString("y"));
        });
        QCOMPARE(all.clients.connection(0).sent.size(), 1);
    }
};

AGENT_TEST(TestReplies)

} // namespace console::tst_replies

#include "tst_replies.moc"
