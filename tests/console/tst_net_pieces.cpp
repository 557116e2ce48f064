// SPDX-License-Identifier: Apache-2.0
// Pieces of a NET package, and the events of their install.
#include "console/ConsoleEvents.h"
#include "console/NetPackages.h"
#include "netupgrade/NetModelUpgrade.h"
#include "support/InstallFolder.h"
#include "support/NetFrames.h"
#include "support/RecordingShell.h"
#include "support/TestCase.h"

#include <QTemporaryDir>
#include <QtTest>

namespace tst_net_pieces {

using console::ConsoleEvents;
using console::NetPackages;
using console::RunRequest;
using engine::RunEvent;
using platform::Platform;

using namespace std::chrono_literals;

namespace {

struct Module
{
    Module()
    {
        QObject::connect(&events, &ConsoleEvents::runRequested, [this](const RunRequest &request) {
            log.append(
                QString("requested by %1, kind %2").arg(request.by.port).arg(int(request.kind)));
        });
        QObject::connect(&events, &ConsoleEvents::runEvent, [this](const RunEvent &event) {
            using Kind = RunEvent::Kind;
            const bool isEnd = event.kind == Kind::Installed || event.kind == Kind::Ended;
            log.append(QString("%1%2").arg(int(event.kind)).arg(isEnd ? event.success : false));
        });
        QObject::connect(&upgrade, &NetModelUpgrade::signalResponse,
                         [this](const QByteArray &bytes) { responses.append(bytes); });
    }

    Platform platform()
    {
        Platform platform;
        useInstallFolder(platform, folder.path());
        platform.pauses.beforeModuleReboot = 1ms;
        platform.shell = shell.shell();
        return platform;
    }

    /** By the clients with ports 1, 2, 1, ... */
    void sendPackage(const QByteArray &archive)
    {
        QList<QByteArray> frames = netframes::package(archive);
        frames.prepend(netframes::enter());
        quint16 port = 2;
        for (const QByteArray &frame : qAsConst(frames)) {
            port = port == 1 ? 2 : 1;
            if (packages.accept({QStringLiteral("10.0.0.1"), port}, frame))
                upgrade.slotReceiveData(frame);
        }
        lastPort = port;
    }

    static QString line(RunEvent::Kind kind, bool success = false)
    {
        return QString("%1%2").arg(int(kind)).arg(success);
    }

    QTemporaryDir folder;
    RecordingShell shell;
    ConsoleEvents events;
    NetModelUpgrade upgrade{nullptr, platform()};
    NetPackages packages{upgrade, events};
    QStringList log;
    QByteArrayList responses;
    quint16 lastPort = 0;
};

} // namespace

class TestNetPieces : public QObject
{
    Q_OBJECT

private slots:
    void install_data()
    {
        const tests::DataTable<bool> rows("success");
        rows("good package", true);
        rows("wrong digest", false);
    }

    /** The run is that of the client which has sent the last piece. */
    void install()
    {
        QFETCH(bool, success);
        using Kind = RunEvent::Kind;
        Module module;
        if (!success)
            module.shell.digest = [](const QString &) { return QByteArray(32, '0'); };
        module.sendPackage(QByteArray(700, 'a'));
        QTRY_VERIFY(module.log.endsWith(Module::line(Kind::Ended, success)));
        QStringList rest = module.log;
        rest.removeAll(Module::line(Kind::Progress));
        QCOMPARE(rest, (QStringList{QString("requested by %1, kind %2")
                                        .arg(module.lastPort)
                                        .arg(int(RunRequest::Kind::NetBlocks)),
                                    Module::line(Kind::Begun), Module::line(Kind::Installing),
                                    Module::line(Kind::Installed, success),
                                    Module::line(Kind::Ended, success)}));
        QCOMPARE(module.log.contains(Module::line(Kind::Progress)), success);
    }

    void noticeThatTheModuleIsBack()
    {
        Module module;
        QVERIFY(module.packages.accept({}, netframes::enter()));
        QVERIFY(module.responses.isEmpty());
        QVERIFY(!module.packages.accept({}, "xxRebootDone" + netframes::enter()));
        QCOMPARE(module.responses,
                 (QByteArrayList{netframes::blockAccepted, "WriteIsUgradingFalse"}));
    }
};

AGENT_TEST(TestNetPieces)

} // namespace tst_net_pieces

#include "tst_net_pieces.moc"
