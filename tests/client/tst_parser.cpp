// SPDX-License-Identifier: Apache-2.0
#include "client/ReplyParser.h"
#include "protocol/McuFrame.h"
#include "support/TestCase.h"

namespace client::tst_parser {

namespace mcu = protocol::mcu;

namespace {

using Kind = AgentReply::Kind;

/** One line for each reply. */
QString described(const AgentReply &reply)
{
    QString text = replyKindName(reply.kind) + ' ' + reply.text;
    if (reply.kind == Kind::Progress)
        text += QStringLiteral(" = %1").arg(reply.percent);
    if (reply.kind == Kind::ModuleStatus)
        text += QStringLiteral("%1 %2").arg(reply.word, 0, 16).arg(reply.status);
    return text.trimmed();
}

QStringList described(const QVector<AgentReply> &replies)
{
    QStringList lines;
    for (const AgentReply &reply : replies)
        lines += described(reply);
    return lines;
}

QStringList parsed(const QByteArray &bytes, int maxLine = ReplyParser::defaultMaxLine)
{
    ReplyParser parser(maxLine);
    return described(parser.feed(bytes));
}

const QByteArray enterAccepted = QByteArray::fromHex("ab5ba508000000ffff007900d6");
const QByteArray blockRefused = QByteArray::fromHex("ab5ba508000000ffff017903d2");

const QByteArray conversation =
    "HEARTBEAT\r\n"
    "VERSION||1.15\r\n"
    "FIRMWARELIST||{\"model\": \"a}\\\"{\",\r\n\r\n \"chips\": [{}]}\r\n"
    "UPGRADELOG||Erase success.\r\nWriting...\r\n"
    "UPGRADELOG||a||b\r\n"
    "PROGRESSVALUE||37.50\r\n"
    "UpgradeDatas||" +
    enterAccepted + "UpgradeDatas||" + blockRefused +
    "NETVERSION||1.23\r\n"
    "UpgradeDatas||WriteIsUgradingTrueUPGRADELOG||Upgrade\xE4\r\n"
    "UpgradeDatas||WriteIsUgradingFalse"
    "PARSEEDIDRESULT||DEL,,HDMI,\r\n"
    "PARSEEDID||ERROR:PARSEEDID parameter command.\r\n"
    "Connect success.\r\n"
    "bogus\r\n"
    "\r\nDISCONNECTCOM\r\n\r\nUPGRADESUCCESS\r\n\r\nDISCONNECTCOM\r\n\r\nUPGRADEFAIL\r\n";

const QStringList expectedConversation = {
    "heartbeat",
    "version 1.15",
    "firmware-list {\"model\": \"a}\\\"{\",\n\n \"chips\": [{}]}",
    "log Erase success.",
    "log Writing...",
    "log a||b",
    "progress 37.50 = 37.5",
    "module 7900 0",
    "module 7901 3",
    "net-version 1.23",
    "module-text WriteIsUgradingTrue",
    QString::fromLatin1("log Upgrade\xE4"),
    "module-text WriteIsUgradingFalse",
    "edid DEL,,HDMI,",
    "edid-error ERROR:PARSEEDID parameter command.",
    "connected",
    "unknown bogus",
    "disconnected",
    "success",
    "disconnected",
    "fail",
};

} // namespace

class TestParser : public QObject
{
    Q_OBJECT

private slots:
    /** In one piece, then cut anywhere. */
    void everyKindOfReply()
    {
        QCOMPARE(parsed(conversation), expectedConversation);
        for (int cut = 0; cut <= conversation.size(); ++cut) {
            ReplyParser parser;
            QStringList lines = described(parser.feed(conversation.left(cut)));
            lines += described(parser.feed(conversation.mid(cut)));
            QCOMPARE(lines, expectedConversation);
            QCOMPARE(parser.pending(), 0);
        }
    }

    void byteByByte()
    {
        ReplyParser parser;
        QStringList lines;
        for (const char byte : conversation)
            lines += described(parser.feed(QByteArray(1, byte)));
        QCOMPARE(lines, expectedConversation);
    }

    void replies_data()
    {
        const tests::DataTable<QByteArray, QStringList> row("bytes", "replies");
        row("bare line feeds", "HEARTBEAT\nVERSION||1\n", {"heartbeat", "version 1"});
        row("words in the middle are not keys", "xHEARTBEAT\r\nHEARTBEATx\r\n UPGRADESUCCESS\r\n",
            {"unknown xHEARTBEAT", "unknown HEARTBEATx", "unknown  UPGRADESUCCESS"});
        for (const char *text : {"", "x", "nan", "inf", "-inf", "1e999", "1,5"})
            row(qPrintable(QString("progress '%1'").arg(text)),
                QByteArray("PROGRESSVALUE||") + text + "\r\n",
                {QString("unknown %1").arg(text).trimmed()});

        row("listing that never closes", "FIRMWARELIST||{\r\nrest\r\nHEARTBEAT\r\nmore\r\n",
            {"firmware-list {\nrest", "heartbeat", "unknown more"});
        row("quote in a listing", "FIRMWARELIST||{\"a\": \"\\\"\"}\r\nmore\r\n",
            {"firmware-list {\"a\": \"\\\"\"}", "unknown more"});
        row("listing without JSON", "FIRMWARELIST||\r\nFIRMWARELIST||ERROR:x\r\n",
            {"firmware-list", "firmware-list ERROR:x"});

        const QByteArray key = "UpgradeDatas||";
        const QByteArray next = "HEARTBEAT\r\n";
        QByteArray wrongSum = enterAccepted;
        wrongSum[11] = 1;
        const QByteArray ordinary = mcu::buildFrame(0xAB, {}, 0x7901, "xyz");
        for (const QByteArray &frame : {wrongSum, ordinary, QByteArray::fromHex("ab5ba5ffff"),
                                        QByteArray::fromHex("ab5ba50400")})
            row(frame.toHex(), key + frame + next, {"unknown " + frame.toHex(' '), "heartbeat"});
        row("no frame", key + "bogus\r\n" + next, {"unknown bogus", "heartbeat"});
        row("line ends in a frame", key + mcu::buildStatusFrame(0xAB, {}, 0x0A0D, 0x0A) + next,
            {"module a0d 10", "heartbeat"});
    }

    void replies()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QStringList, replies);
        QCOMPARE(parsed(bytes), replies);
    }

    void listingTooLong()
    {
        const QByteArray lines = QByteArray("x\r\n").repeated(100);
        QCOMPARE(parsed("FIRMWARELIST||{\r\n" + lines, 50).first(), QString("overlong"));
    }

    void lineTooLong()
    {
        constexpr int limit = 1000;
        ReplyParser parser(limit);
        QStringList lines;
        for (int i = 0; i < 1000; ++i) {
            lines += described(parser.feed(QByteArray(777, 'x')));
            QVERIFY(parser.pending() <= limit);
        }
        lines += described(parser.feed("\r\nHEARTBEAT\r\n"));
        QCOMPARE(lines, QStringList({"overlong", "heartbeat"}));
        const QByteArray inOnePiece = QByteArray(limit + 1, 'x') + "\r\nHEARTBEAT\r\n";
        QCOMPARE(parsed(inOnePiece, limit), QStringList({"overlong", "heartbeat"}));
    }

    /** A flood costs time in proportion to its size only; a watchdog ends this test otherwise. */
    void flood()
    {
        const QByteArray lines = QByteArray("UPGRADELOG||x\r\n").repeated(200000);
        QCOMPARE(parsed(lines).size(), 200000);
        ReplyParser parser;
        int count = 0;
        for (int i = 0; i < 1024; ++i)
            count += parser.feed(QByteArray(4096, '\0')).size();
        QCOMPARE(count, 0);
        QCOMPARE(parser.pending(), 1024 * 4096);
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestParser)

} // namespace client::tst_parser

#include "tst_parser.moc"
