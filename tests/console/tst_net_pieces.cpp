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

namespace console::tst_net_pieces {

using engine::RunEvent;
using Kind = RunEvent::Kind;

using namespace std::chrono_literals;

namespace {

struct Module
{
    Module()
    {
        QObject::connect(&events, &ConsoleEvents::runRequested, [this](const RunRequest &request) {
            const bool isInBlocks = request.kind == RunRequest::Kind::NetBlocks;
            log.append(QString("%1 by %2").arg(isInBlocks ? "blocks" : "?").arg(request.by.port));
        });
        QObject::connect(&events, &ConsoleEvents::runEvent, [this](const RunEvent &event) {
            const bool isEnd = event.kind == Kind::Installed || event.kind == Kind::Ended;
            log.append(line(event.kind, isEnd && event.success));
        });
        QObject::connect(&upgrade, &NetModelUpgrade::signalResponse,
                         [this](const QByteArray &bytes) { responses.append(bytes); });
    }

    platform::Platform platform()
    {
        platform::Platform platform;
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
        for (int i = 0; i < frames.size(); ++i) {
            if (packages.accept({QStringLiteral("10.0.0.1"), quint16(1 + i % 2)}, frames.at(i)))
                upgrade.slotReceiveData(frames.at(i));
        }
    }

    static QString line(Kind kind, bool success = false)
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
        Module module;
        if (!success)
            module.shell.digest = [](const QString &) { return QByteArray(32, '0'); };
        module.sendPackage(QByteArray(700, 'a'));
        QTRY_VERIFY(module.log.endsWith(Module::line(Kind::Ended, success)));
        QStringList rest = module.log;
        rest.removeAll(Module::line(Kind::Progress));
        QCOMPARE(rest, (QStringList{"blocks by 2", Module::line(Kind::Begun),
                                    Module::line(Kind::Installing),
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

} // namespace console::tst_net_pieces

#include "tst_net_pieces.moc"
