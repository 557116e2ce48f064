// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/RunEvent.h"

#include <QObject>

/** Where the events of runs come out. An object of its own, so that the engine's interface to the
 *  console stays what it is. */
class RunEvents : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

signals:
    /** In the order of the engine's messages. */
    void told(const RunEvent &event);
};
