// SPDX-License-Identifier: Apache-2.0
#include "links/CoreTelnet.h"
#include "support/TestCase.h"
#include "support/WaitFor.h"
#include "upload/FakeLink.h"

#include <QTcpServer>
#include <QTcpSocket>

namespace tst_network {

using platform::TimeOuts;

namespace {

/** An uploader on a network link, with a device that accepts every block. */
struct NetworkTransfer
{
    explicit NetworkTransfer(const TimeOuts &timeOuts) : upload(timeOuts)
    {
        canRead = false;
        currentCommandKey = 0;
        upload.setTransports(nullptr, &link);
        QObject::connect(&link, &CoreTelnet::read, &upload, &CoreUpload::slotReceiveDatas);
        QObject::connect(&upload, &CoreUpload::message, &upload,
                         [this](const QStringList &list) { lines.append(list.join('|')); });
        QObject::connect(&server, &QTcpServer::newConnection, &server, [this] {
            device = server.nextPendingConnection();
            QObject::connect(device, &QTcpSocket::readyRead, device, [this] { answer(); });
        });
        server.listen(QHostAddress::LocalHost);
        link.connectTo(QStringLiteral("127.0.0.1"), server.serverPort());
        if (!waitFor([this] { return link.isOpen() && device != nullptr; }))
            qFatal("no connection");
    }

    /** Sends an image and returns the lines up to the verdict. */
    QStringList send()
    {
        upload.uploadData(1, 0, imageOf(600), 600);
        waitFor([this] {
            return lines.contains("SingleUploadSuccess") || lines.contains("SingleUploadFail");
        });
        return lines;
    }

    QTcpServer server;
    CoreTelnet link;
    CoreUpload upload;
    QTcpSocket *device = nullptr;

private:
    void answer()
    {
        constexpr int blockFrame = 271;
        received += device->readAll();
        for (; answered < received.size() / blockFrame; ++answered)
            device->write(blockReply());
    }

    QStringList lines;
    QByteArray received;
    int answered = 0;
};

} // namespace

class TestNetwork : public QObject
{
    Q_OBJECT

private slots:
    /** Nothing sets the flag for a bare network link, so no reply is ever read. */
    void bareLinkIsNotPaired()
    {
        TimeOuts timeOuts;
        timeOuts.block = timeOuts.lastBlock = std::chrono::milliseconds(5);
        NetworkTransfer transfer(timeOuts);
        QCOMPARE(transfer.send(),
                 QStringList({"F/W update timeout, retry 1.", "F/W update timeout, retry 2.",
                              "SingleUploadFail"}));
        QVERIFY(!canRead);
        QCOMPARE(currentCommandKey, quint16(0));
    }

    void linkWithHookIsPaired()
    {
        NetworkTransfer transfer{TimeOuts()};
        transfer.link.setFrameHook([](const QByteArray &frame) {
            links::noteFrame(reinterpret_cast<const unsigned char *>(frame.constData()),
                             frame.size());
        });
        QCOMPARE(transfer.send(), QStringList{"SingleUploadSuccess"});
    }

    void linkThatIsNotConnected()
    {
        CoreTelnet link;
        CoreUpload upload{TimeOuts()};
        upload.setTransports(nullptr, &link);
        const unsigned char byte = 1;
        QVERIFY(!upload.sendRaw(&byte, 1));
    }
};

AGENT_TEST(TestNetwork)

} // namespace tst_network

#include "tst_network.moc"
