// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

/** The keys of a package's description. Their spelling is part of the format. */
namespace package::key {

const inline QString model = QStringLiteral("model");
const inline QString version = QStringLiteral("version");
const inline QString chips = QStringLiteral("chips");

const inline QString name = QStringLiteral("name");
const inline QString chipType = QStringLiteral("chip_type");
const inline QString chipQuantity = QStringLiteral("chip_quanity");
const inline QString mcus = QStringLiteral("mcus");

const inline QString mcuType = QStringLiteral("mcu_type");
const inline QString pcbs = QStringLiteral("pcbs");

const inline QString pcbVersion = QStringLiteral("pcb_version");
const inline QString speciality = QStringLiteral("speciality");
const inline QString ver1 = QStringLiteral("ver1");
const inline QString ver2 = QStringLiteral("ver2");
const inline QString ver3 = QStringLiteral("ver3");

/** In the request to build a package only: the image's file and the record's key bytes. */
const inline QString file = QStringLiteral("fw_file");
const inline QString inChipType = QStringLiteral("in_chip_type");
const inline QString inChipQuantity = QStringLiteral("in_chip_quanity");
const inline QString inMcuType = QStringLiteral("in_mcu_type");
const inline QString inPcbVersion = QStringLiteral("in_pcb_version");
const inline QString inSpeciality = QStringLiteral("in_speciality");
const inline QString inVer1 = QStringLiteral("in_ver1");
const inline QString inVer2 = QStringLiteral("in_ver2");
const inline QString inVer3 = QStringLiteral("in_ver3");

} // namespace package::key
