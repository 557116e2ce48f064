// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/NetBlockReceiver.h"
#include "protocol/BlockPayload.h"
#include "protocol/Statuses.h"
#include "support/Fuzz.h"
#include "support/NetFrames.h"

namespace block = protocol::block;
namespace net = package::net;
namespace status = protocol::status;
using netupgrade::NetBlockAction;
using netupgrade::NetBlockReceiver;

namespace {

using Kind = NetBlockAction::Kind;
using Action = std::optional<NetBlockAction>;

void requireSound(const NetBlockAction &action)
{
    require(action.data.size() <= 0xFFFF);
    require(action.status <= status::refused);
    if (action.kind == Kind::Finish)
        require(action.header.md5Text.size() == net::md5Size);
}

/** Any byte stream. */
void readStream(const QByteArray &bytes)
{
    NetBlockReceiver receiver([] { return false; }, [] { return QString(); });
    for (const char byte : bytes) {
        const Action action = receiver.feed(quint8(byte));
        if (action)
            requireSound(*action);
        if (action && action->kind == Kind::Append)
            receiver.stored();
        // After a word that wants no answer it would take nothing more.
        receiver.listen();
    }
}

/** A receiver and its owner, which stores every block unless its disk is full. */
class Transfer
{
public:
    bool busy = false;
    bool diskIsFull = false;

    /** Bytes that end in the middle of a frame have no effect on later frames. */
    void noise(const QByteArray &bytes)
    {
        for (const char byte : bytes)
            take(m_receiver.feed(quint8(byte)));
        m_receiver.dropPartialFrame();
    }

    void enter() { require(send(netframes::enter())->status == (busy ? 3 : 0)); }

    /** The owner is busy installing from the last block on, or with something else. */
    void setBusy(bool isBusy)
    {
        busy = isBusy;
        if (!busy)
            forgetLastBlock();
    }

    void write(int number, quint8 flags, const QByteArray &data)
    {
        m_last = netframes::write(number, flags, data);
        const Action found = send(m_last);
        m_storedLast = false;
        if (!found)
            return;
        const NetBlockAction &action = *found;
        const bool isHeader = number == 0;
        const int head = isHeader ? net::archiveOffset : 0;
        if (busy || data.size() < head)
            require(action.kind == Kind::Answer && action.status == status::refused);
        else if (action.kind != Kind::Answer) // not the same frame once more
            require((action.kind == Kind::Create) == isHeader &&
                    data.mid(head).startsWith(action.data));
        m_storedLast = !diskIsFull && (action.kind == Kind::Create || action.kind == Kind::Append);
        if (action.kind == Kind::Finish && diskIsFull)
            forgetLastBlock();
        else if (action.kind == Kind::Finish)
            m_lastBlock = m_last;
    }

    /** The sender has missed the answer: nothing may be stored twice. */
    void repeat()
    {
        if (m_last.isEmpty() || !m_storedLast || busy)
            return;
        const Action action = send(m_last);
        require(action->kind == Kind::Answer && action->status == status::done);
    }

private:
    void forgetLastBlock()
    {
        m_receiver.forgetLastBlock();
        m_lastBlock.clear();
    }

    /** A whole frame is answered or stored, whatever came before; only the last block once more
     *  has no answer while it is being installed. */
    Action send(const QByteArray &frame)
    {
        Action last;
        for (const char byte : frame) {
            require(!last);
            last = m_receiver.feed(quint8(byte));
        }
        require(last.has_value() == !(busy && frame == m_lastBlock));
        take(last);
        return last;
    }

    void take(const Action &action)
    {
        m_storedLast = m_storedLast && !action;
        if (action)
            requireSound(*action);
        if (action && !diskIsFull && (action->kind == Kind::Create || action->kind == Kind::Append))
            m_receiver.stored();
        m_receiver.listen();
    }

    NetBlockReceiver m_receiver{[this] { return busy; }, [] { return QString(); }};
    QByteArray m_last;
    QByteArray m_lastBlock;
    bool m_storedLast = false;
};

/** The input as a sender's script, so that frames have their right checksums. */
void transfer(FuzzInput input)
{
    Transfer transfer;
    while (!input.atEnd()) {
        switch (input.below(8)) {
        case 0:
            transfer.noise(input.bytes(input.byte()));
            break;
        case 1:
            transfer.enter();
            break;
        case 2:
            transfer.repeat();
            break;
        case 3:
            transfer.setBusy(!transfer.busy);
            break;
        case 4:
            transfer.diskIsFull = !transfer.diskIsFull;
            break;
        default: {
            const int number = input.below(3);
            const quint8 flags = input.below(2) == 0 ? 0 : block::lastFlag;
            transfer.write(number, flags, input.bytes(input.byte()));
        }
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
    readStream(QByteArray(reinterpret_cast<const char *>(data), int(size)));
    transfer(FuzzInput(data, size));
    return 0;
}
