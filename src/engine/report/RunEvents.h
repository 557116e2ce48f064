// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/report/RunEvent.h"
#include "engine/runs/RunClaim.h"

#include <QMetaObject>
#include <QObject>

namespace engine {

/** Emits the events of runs. A separate object keeps them out of the engine's interface to the
 *  console. */
class RunEvents : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /** Announces the end of the run with this claim: ending() at once, over() from the event loop,
     *  after everything that the caller still reports. */
    void end(RunClaim::Number run)
    {
        emit ending(run);
        QMetaObject::invokeMethod(
            this, [this, run] { emit over(run); }, Qt::QueuedConnection);
    }

signals:
    /** In the order of the engine's messages. */
    void reported(const engine::RunEvent &event);
    /** The run has ended. Its status, if it has one, is the next APPSTATUS message. */
    void ending(qint64 run);
    /** The last event of a run, after each ending(). */
    void over(qint64 run);
};

} // namespace engine
