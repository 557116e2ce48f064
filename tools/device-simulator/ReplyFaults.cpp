// SPDX-License-Identifier: Apache-2.0
#include "device-simulator/ReplyFaults.h"

#include "protocol/McuFrame.h"
#include "protocol/Reply.h"

namespace mcu = protocol::mcu;
using protocol::Reply;

namespace {

QByteArray rebuilt(const QByteArray &reply, quint16 word, const QByteArray &payload,
                   mcu::FrameAddress address = {})
{
    return mcu::buildFrame(quint8(reply.at(0)), address, word, payload);
}

QByteArray withOtherWord(const QByteArray &reply, quint16 word)
{
    const Reply seen(reply);
    if (seen.isExtended())
        return mcu::buildStatusFrame(quint8(reply.at(0)), {}, word, seen.at(mcu::resultOffset));
    return rebuilt(reply, word, seen.payload());
}

/** An extended status becomes an ordinary reply with two echo bytes before it, and back. */
QByteArray inOtherForm(const QByteArray &reply)
{
    const Reply seen(reply);
    if (!seen.isExtended())
        return mcu::buildStatusFrame(quint8(reply.at(0)), {}, seen.word(),
                                     seen.at(mcu::resultOffset));
    return rebuilt(reply, seen.word(), QByteArray(2, '\0') + char(seen.at(mcu::resultOffset)));
}

QByteArray shortened(const QByteArray &reply, int bytes)
{
    return rebuilt(reply, mcu::wordAt(reply, mcu::wordOffset), Reply(reply).payload().left(bytes));
}

QByteArray withWrongAddress(const QByteArray &reply)
{
    constexpr mcu::FrameAddress elsewhere{0x5C, 0xA6};
    return rebuilt(reply, mcu::wordAt(reply, mcu::wordOffset), Reply(reply).payload(), elsewhere);
}

} // namespace

QByteArray corruptedReply(const QByteArray &reply, const QVector<Fault> &faults)
{
    QByteArray result = reply;
    for (const Fault &fault : faults) {
        switch (fault.kind) {
        case Fault::Kind::OtherForm:
            result = inOtherForm(result);
            break;
        case Fault::Kind::WrongWord:
            result = withOtherWord(result, fault.otherWord);
            break;
        case Fault::Kind::Short:
            result = shortened(result, fault.bytes);
            break;
        case Fault::Kind::WrongAddress:
            result = withWrongAddress(result);
            break;
        default:
            break;
        }
    }
    if (findFault(faults, Fault::Kind::BadChecksum))
        result[result.size() - 1] = char(result.at(result.size() - 1) + 1);
    return result;
}

QByteArray surroundedReply(const QByteArray &reply, const QByteArray &host,
                           const QVector<Fault> &faults, std::mt19937 &random)
{
    QByteArray sent = reply;
    if (findFault(faults, Fault::Kind::Duplicate))
        sent += reply;
    if (findFault(faults, Fault::Kind::Echo))
        sent.prepend(host);
    if (const Fault *noise = findFault(faults, Fault::Kind::Noise)) {
        QByteArray bytes = noise->exactBytes;
        for (int i = 0; noise->exactBytes.isEmpty() && i < noise->bytes; ++i)
            bytes.append(char(random() & 0xFF));
        sent.prepend(bytes);
    }
    return sent;
}
