// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "fwm/PackageContents.h"

/** The name that the description gives an image, empty when it has none. */
QString imageName(const PackageContents &contents, const ImageInfo &image);

/** What is known of the head of a network module image. */
QJsonObject netJson(const ImageInfo &image);

/** "current", "bare" or "unknown". */
QString formText(const package::PackageHeader &header);

/** All values of a package, without the name of its file. */
QJsonObject infoJson(const PackageContents &contents);

/** All values of an image. `number` counts from 1. */
QJsonObject imageJson(const PackageContents &contents, int number);

/** "ok", "uppercase", "wrong" or "cut": whether a network module would install the image. */
QString netVerdict(const ImageInfo &image);
