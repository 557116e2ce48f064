// SPDX-License-Identifier: Apache-2.0
#include "planning/ImageChoice.h"

#include "protocol/ChipTypes.h"

namespace chip = protocol::chip;
namespace field = package::field;
using bytes::ByteSource;
using package::MatchMask;

namespace planning {

namespace {

ImageChoice::Kind kindFor(int chipType, ImageRules::Net net)
{
    if (chipType != chip::networkModule || net == ImageRules::Net::SendToDevice)
        return ImageChoice::Kind::Write;
    return net == ImageRules::Net::Install ? ImageChoice::Kind::Install
                                           : ImageChoice::Kind::NotHandled;
}

} // namespace

ImageChoice chooseImage(const TypeAndIndexTable &rows, int line, const MatchMask &mask,
                        ByteSource &package, const ImageRules &rules)
{
    using Kind = ImageChoice::Kind;
    if (!rows.namesChip(line))
        return {Kind::BadChip, std::nullopt};
    const int chipType = rows.number(line, field::chipType);
    const auto record =
        findImageRecord(package, mask, chipType, rows.number(line, field::mcuType),
                        rows.number(line, field::pcbVersion), rows.number(line, field::speciality));
    if (!record || record->length == 0)
        return {Kind::NoImage, std::nullopt};
    if (record->length > rules.longest)
        return {Kind::TooLong, record};
    return {kindFor(chipType, rules.net), record};
}

} // namespace planning
