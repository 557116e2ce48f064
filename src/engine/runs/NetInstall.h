// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "netupgrade/BlocksGate.h"
#include "netupgrade/NetArchive.h"
#include "netupgrade/NetImageAssembler.h"
#include "platform/Platform.h"

#include <functional>
#include <memory>

namespace bytes {
class ByteSource;
} // namespace bytes

namespace protocol {
class Reply;
} // namespace protocol

namespace netupgrade {
struct NetReport;
} // namespace netupgrade

namespace engine {

class EngineOutput;
class RunProgress;
class RunReporter;
struct RunOutcome;

/** Installs the network module's own firmware, from a package or sent by the device block by block
 *  in extended frames. */
class NetInstall
{
public:
    /** The parts that an install works with. */
    struct Parts
    {
        const EngineOutput &output;
        RunReporter &report;
        RunProgress &progress;
        /** Sends an extended status frame; false when the link refuses it. */
        std::function<bool(quint16 word, quint8 status)> send;
        std::function<void(const RunOutcome &outcome)> finish;
    };

    NetInstall(const Parts &parts, const platform::Platform &platform);

    /** Blocks this thread until the last command has ended; the run continues afterwards. */
    bool installFromPackage(bytes::ByteSource &image);
    /** Sends the extended status frame. A frame that cannot be sent ends the run. */
    void sendStatus(quint16 word, quint8 status);
    /** Takes a frame of the device's transfer and answers it. */
    void takeFrame(const protocol::Reply &frame);

private:
    netupgrade::NetReport reports();
    bool refuses(const netupgrade::BlocksGate::Decision &gate, quint16 word);
    void takeBlock(const protocol::Reply &frame);
    bool createArchive();
    void installReceived();

    Parts m_parts;
    const platform::Platform m_platform;
    netupgrade::BlocksGate m_gate;
    netupgrade::NetImageAssembler m_image{netupgrade::netblocks::fromDevice};
    std::unique_ptr<netupgrade::NetArchive> m_archive;
};

} // namespace engine
