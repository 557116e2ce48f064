// SPDX-License-Identifier: Apache-2.0
#pragma once

/** How a run decides; also the engine's operation kind. */
namespace planning::upgradeMode {

/** The rows carry the versions already: straight to the images, product information afterwards. */
constexpr int imagesOnly = 1;
/** Reads everything first and sends only images newer than what the MCU runs. */
constexpr int newerOnly = 2;
/** No upgrade at all: the product information is read. */
constexpr int readProductInformation = 3;
/** Reads the MCUs but not the model name, and sends every matching image. */
constexpr int forced = 5;

} // namespace planning::upgradeMode
