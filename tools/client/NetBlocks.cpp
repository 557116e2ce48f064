// SPDX-License-Identifier: Apache-2.0
#include "client/NetBlocks.h"

#include "package/NetImage.h"
#include "protocol/BlockPayload.h"
#include "protocol/ChipTypes.h"
#include "protocol/CommandWords.h"
#include "protocol/McuFrame.h"
#include "protocol/Statuses.h"

#include <QCryptographicHash>

#include <algorithm>

namespace block = protocol::block;
namespace chip = protocol::chip;
namespace command = protocol::command;
namespace mcu = protocol::mcu;
namespace status = protocol::status;
using package::netArchive;
using package::NetImage;
using package::parseNetImage;

namespace client {

namespace {

constexpr char moduleType = char(chip::networkModule);
constexpr char moduleIndex = 0;
constexpr char padding = char(block::lastPadding);

/** The module interprets a fragment with this word as a notice and not as a block. */
const char *const noticeWord = "RebootDone";

} // namespace

ProblemId problemOfBlockStatus(quint8 answer)
{
    switch (answer) {
    case status::done:
        return ProblemId::None;
    case status::checksumError:
        return ProblemId::BlockDamaged;
    default:
        return ProblemId::BlockRefused;
    }
}

QString NetBlocks::problem(const QByteArray &image)
{
    const NetImage head = parseNetImage(image);
    if (head.archiveLength <= 0)
        return QStringLiteral("it is shorter than an image's head");
    const QByteArray digest =
        QCryptographicHash::hash(netArchive(image), QCryptographicHash::Md5).toHex();
    if (head.md5Text == digest)
        return {};
    if (head.md5Text.toLower() == digest)
        return QStringLiteral("its digest is in upper case, which the module refuses");
    return QStringLiteral("the digest in its head is not that of its archive");
}

QByteArray NetBlocks::enterFrame()
{
    return mcu::buildFrame(mcu::hostStart, {}, command::enterUpdateMode,
                           QByteArray().append(moduleType).append(moduleIndex));
}

bool NetBlocks::next()
{
    if (m_isLast)
        return false;
    const int size = nextSize();
    const bool isRest = m_offset + size >= m_image.size();
    QByteArray data = m_image.mid(int(m_offset), size);
    m_isLast = size == 0 || (isRest && m_offset > 0 && !data.endsWith(padding));
    if (m_isLast)
        data = data.leftJustified(block::dataSize, padding);
    m_offset += size;
    build(data);
    // Block 0 begins an archive; after an overflow the number must not become 0 again.
    m_number = m_number == 0xFFFF ? 1 : m_number + 1;
    return true;
}

int NetBlocks::nextSize() const
{
    const int size = int(std::min<qint64>(block::dataSize, m_image.size() - m_offset));
    const int word = m_image.mid(int(m_offset), size).indexOf(noticeWord);
    return word < 0 ? size : word + 1;
}

void NetBlocks::build(const QByteArray &data)
{
    QByteArray payload;
    payload.append(moduleType).append(moduleIndex);
    payload.append(char(m_number & 0xFF)).append(char(m_number >> 8));
    payload.append(char(m_isLast ? block::lastFlag : 0));
    m_frame = mcu::buildFrame(mcu::hostStart, {}, command::writeBlock, payload + data);
}

} // namespace client
