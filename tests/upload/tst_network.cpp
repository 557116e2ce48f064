// SPDX-License-Identifier: Apache-2.0
#include "links/CoreTelnet.h"
#include "links/LinkState.h"
#include "support/TestCase.h"
#include "support/WaitFor.h"
#include "upload/FakeLink.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

namespace tst_network {

using platform::TimeOuts;

namespace {

/** An uploader on a network link, with a device that accepts every block. */
struct NetworkTransfer
{
    explicit NetworkTransfer(const TimeOuts &timeOuts) : upload(timeOuts) {}

    QTcpServer server;
    CoreTelnet link;
    CoreUpload upload;
    QTcpSocket *device = nullptr;
    QByteArray received;
    QStringList lines;

    bool connectLink()
    {
        upload.setTransports(nullptr, &link);
        QObject::connect(&link, &CoreTelnet::read, &upload, &CoreUpload::slotReceiveDatas);
        QObject::connect(&upload, &CoreUpload::message, &upload,
                         [this](const QStringList &list) { lines.append(list.join('|')); });
        QObject::connect(&server, &QTcpServer::newConnection, &server, [this] {
            device = server.nextPendingConnection();
            QObject::connect(device, &QTcpSocket::readyRead, device, [this] { answer(); });
        });
        if (!server.listen(QHostAddress::LocalHost))
            return false;
        link.connectTo(QStringLiteral("127.0.0.1"), server.serverPort());
        return waitFor([this] { return link.isOpen() && device != nullptr; });
    }

    void answer()
    {
        constexpr int blockFrame = 271;
        received += device->readAll();
        for (; answered < received.size() / blockFrame; ++answered)
            device->write(blockReply());
    }

    bool finished() const
    {
        return lines.contains(QStringLiteral("SingleUploadSuccess")) ||
               lines.contains(QStringLiteral("SingleUploadFail"));
    }

    int answered = 0;
};

} // namespace

class TestNetwork : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        canRead = false;
        currentCommandKey = 0;
    }

    /** Nothing sets the flag for a bare network link, so no reply is ever read. */
    void bareLinkIsNotPaired()
    {
        NetworkTransfer transfer(Transfer::shortTimeOuts());
        QVERIFY(transfer.connectLink());
        transfer.upload.uploadData(1, 0, imageOf(600), 600);
        QVERIFY(waitFor([&] { return transfer.finished(); }));
        QCOMPARE(transfer.lines, QStringList({"F/W update timeout, retry 1.",
                                              "F/W update timeout, retry 2.", "SingleUploadFail"}));
        QVERIFY(!canRead);
        QCOMPARE(currentCommandKey, quint16(0));
    }

    void linkWithHookIsPaired()
    {
        NetworkTransfer transfer(Transfer::neverTimeOuts());
        QVERIFY(transfer.connectLink());
        transfer.link.setFrameHook([](const QByteArray &frame) {
            links::noteFrame(reinterpret_cast<const unsigned char *>(frame.constData()),
                             frame.size());
        });
        transfer.upload.uploadData(1, 0, imageOf(600), 600);
        QVERIFY(waitFor([&] { return transfer.finished(); }));
        QCOMPARE(transfer.lines.last(), QStringLiteral("SingleUploadSuccess"));
    }

    void linkThatIsNotConnected()
    {
        CoreTelnet link;
        CoreUpload upload(Transfer::shortTimeOuts());
        upload.setTransports(nullptr, &link);
        const unsigned char byte = 1;
        QVERIFY(!upload.sendRaw(&byte, 1));
    }
};

AGENT_TEST(TestNetwork)

} // namespace tst_network

#include "tst_network.moc"
