// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-simulator/Fault.h"

#include <QByteArray>
#include <QVector>

#include <random>

/** A reply after the faults that change its own bytes. */
QByteArray corruptedReply(const QByteArray &reply, const QVector<Fault> &faults);

/** A reply with what the faults send around it; `host` is the frame that it answers. */
QByteArray surroundedReply(const QByteArray &reply, const QByteArray &host,
                           const QVector<Fault> &faults, std::mt19937 &random);
