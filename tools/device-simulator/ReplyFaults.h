// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-simulator/Fault.h"

#include <QByteArray>
#include <QVector>

#include <random>

/** A reply with the faults that change its bytes. */
QByteArray corruptedReply(const QByteArray &reply, const QVector<Fault> &faults);

/** A reply with the bytes that faults add around it; `host` is the frame that it answers. */
QByteArray surroundedReply(const QByteArray &reply, const QByteArray &host,
                           const QVector<Fault> &faults, std::mt19937 &random);
