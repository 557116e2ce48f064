// SPDX-License-Identifier: Apache-2.0
// Everything that reads a package, over bytes of any kind.
#include "package/ImageRecord.h"
#include "package/NetMerge.h"
#include "package/PackageChecksum.h"
#include "package/PackageDescription.h"
#include "package/PackageHeader.h"
#include "package/PackageLayout.h"
#include "support/Fuzz.h"

using bytes::ByteSource;
using bytes::BytesSink;
using bytes::BytesSource;
using bytes::PartSource;

namespace package {

namespace {

void walk(ByteSource &source, RecordWalker walker)
{
    qint64 last = walker.position();
    while (const auto record = walker.next()) {
        require(record->headerOffset == last);
        require(record->end() >= last + recordHeaderSize);
        require(record->end() <= source.size());
        last = record->end();
        if (record->key.chipType == 32) {
            PartSource image(source, record->imageOffset, record->length);
            checkNetImage(image);
        }
    }
    require(walker.state() != RecordWalker::State::Walking);
}

/** No fuzzer guesses a checksum; without this most of a package would never be looked at. */
QByteArray withGoodChecksum(const QByteArray &bytes)
{
    BytesSource source(bytes);
    const QByteArray text = checkPackage(source).computed;
    return text.leftJustified(checksumSize, '\0') + bytes.mid(checksumSize);
}

/** Whatever can be merged gives a package that can be read. */
void merge(const QByteArray &bytes)
{
    BytesSource source(bytes);
    const NetMergePlan plan = planNetMerge(source, parseNetImage(bytes), QString(), QString());
    if (plan.error != NetMergePlan::Error::None)
        return;
    BytesSource net(bytes);
    BytesSink sink;
    PackageWriter writer(sink);
    require(writeNetMerge(writer, plan, source, net));
    BytesSource merged(sink.bytes());
    require(checkPackage(merged).matches());
    require(findImageRecord(merged, MatchMask(), 32, 0, 0, 0).has_value());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), int(size));
    BytesSource source(bytes);
    checkPackage(source);

    const PackageHeader header = readPackageHeader(source);
    const QByteArray json = readDescription(source, header);
    require(json.size() <= header.jsonLength);
    const PackageDescription description = parseDescription(json);
    for (const QString &entry : description.firmwareList)
        require(entry.count(QLatin1Char(',')) >= 8);

    walk(source, RecordWalker(source));
    if (header.error == PackageHeader::Error::None)
        walk(source, RecordWalker(source, header.recordsOffset()));
    for (const int chipType : {0, 16, 17, 32}) {
        const auto record = findImageRecord(source, MatchMask(), chipType, 1, 1, 'A');
        require(!record || record->end() <= source.size());
    }
    merge(withGoodChecksum(bytes));
    return 0;
}

} // namespace package
