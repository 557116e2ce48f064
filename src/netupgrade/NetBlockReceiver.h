// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "netupgrade/BlocksGate.h"
#include "netupgrade/NetImageAssembler.h"
#include "protocol/FrameAssembler.h"

#include <QByteArray>

#include <functional>
#include <optional>

namespace netupgrade {

/** What the owner of a NetBlockReceiver has to do for one frame. */
struct NetBlockAction
{
    enum class Kind {
        /** Answer with `status`. */
        Answer,
        /** Start the archive again with `data`, then answer. */
        Create,
        /** Append `data` to the archive, then answer. */
        Append,
        /** Append `data`, close the archive and install it with `header`; no answer. */
        Finish,
    };

    Kind kind = Kind::Answer;
    /** Reported before everything else; empty for nothing to report. */
    QString line;
    /** The command word to answer. */
    quint16 word = 0;
    quint8 status = 0;
    QByteArray data;
    /** Finish only. */
    package::NetImage header;
};

/**
 * The module's side of a block-by-block upgrade, in which it acts as an MCU of chip type 0x20:
 * takes frames and returns actions. Uses no file, clock or socket.
 *
 * After every frame with a correct checksum it ignores bytes until the owner calls listen(), with
 * each answer. A frame with a wrong checksum is answered and does not stop it from listening.
 *
 * The last block is answered after the module's restart, so its repetitions are not answered during
 * the install.
 */
class NetBlockReceiver
{
public:
    /** `busy` says whether the module may not be upgraded now, `refusal` whether images that are
     * sent in blocks are accepted. */
    NetBlockReceiver(std::function<bool()> busy, BlocksGate::Refusal refusal);

    /** Takes one byte; the action for a complete frame, if any. Ignores the byte while not
     *  listening. */
    std::optional<NetBlockAction> feed(quint8 byte);

    bool isListening() const { return m_listening; }
    void listen() { m_listening = true; }

    /** The data of the last Create or Append is stored: a repetition of that frame (the sender
     *  missed the answer) is answered and not written twice. */
    void stored();

    /** The install of the last block is over: a repetition is refused from now on. */
    void forgetLastBlock() { m_lastBlock.clear(); }

    /** Discards a partly received frame. */
    void dropPartialFrame() { m_assembler.reset(); }

private:
    std::optional<NetBlockAction> take(const QByteArray &frame);
    NetBlockAction enter(const QByteArray &frame);
    std::optional<NetBlockAction> write(const QByteArray &frame);
    std::optional<NetBlockAction> accept(const QByteArray &frame);

    std::function<bool()> m_busy;
    BlocksGate m_gate;
    protocol::FrameAssembler m_assembler;
    bool m_listening = true;
    QByteArray m_lastWrite;
    QByteArray m_lastStored;
    /** The last block of the image that is being installed. */
    QByteArray m_lastBlock;
    NetImageAssembler m_image{netblocks::fromConsole};
};

/** The 13-byte answer to `word`. */
QByteArray netBlockReply(quint16 word, quint8 status);

} // namespace netupgrade
