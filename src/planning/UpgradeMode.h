// SPDX-License-Identifier: Apache-2.0
#pragma once

/** The mode of a run; also the engine's operation kind. */
namespace planning::upgradeMode {

/** The rows contain the versions: sends the images at once, product information afterwards. */
constexpr int imagesOnly = 1;
/** Reads everything first and sends only images newer than the running version. */
constexpr int newerOnly = 2;
/** Not an upgrade: the product information is read. */
constexpr int readProductInformation = 3;
/** Reads the MCUs but not the model name, and sends every matching image. */
constexpr int forced = 5;

} // namespace planning::upgradeMode
