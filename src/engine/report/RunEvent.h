// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QMetaType>
#include <QString>

namespace engine {

/** The MCU that a run works on, from its row: texts that a client has sent. */
struct RunMcu
{
    QString name;
    QString chipType;
    QString chipIndex;
    /** The running version; empty while it is unknown. */
    QString runs;
    /** The package's version for it; empty when there is none. */
    QString offered;
};

/** How many images were written, given up and not sent at all. */
struct RunCounts
{
    int written = 0;
    int failed = 0;
    int skipped = 0;
};

/** An install of the module's own firmware that was interrupted. */
struct RunInstall
{
    QString version;
    /** Words for the kind of install and for how far it had come. */
    QString kind;
    QString state;
    int attempt = 0;
};

/**
 * An event of a run for the operations log and the service manager. Console clients get messages
 * instead.
 */
struct RunEvent : RunCounts
{
    enum class Kind {
        Begun,
        /** The signature of the package with the key `key` was checked; `text` is its trusted
         *  comment or, without `success`, a word for what is wrong with it. */
        SignatureChecked,
        /** The MCU's information is being read. */
        Reading,
        /** The MCU gets no image; `text` says why. */
        Skipped,
        /** The MCU's image of `bytes` bytes is being written. */
        Writing,
        /** `percent` has changed. */
        Progress,
        /** Try number `attempt` of something begins; `text` says what. */
        Retried,
        /** Something was given up; `text` says what. */
        GivenUp,
        /** The image was written or, without `success`, given up. */
        Written,
        /** The whole device restarts. */
        Restarting,
        /** Commands install the network module's firmware; they block the thread. */
        Installing,
        Installed,
        /** The agent has started and completes an install that was interrupted, `install`. */
        Resuming,
        Resumed,
        /** It is given up, or postponed with `isPostponed`; `text` says why. */
        NotResumed,
        /** `status` as in the engine's messages, 0 when there is none. */
        Ended,
    };

    Kind kind = Kind::Begun;
    RunMcu mcu;
    RunInstall install;
    bool isPostponed = false;
    QString text;
    QString key;
    int percent = 0;
    int attempt = 0;
    int bytes = 0;
    bool success = false;
    int status = 0;
    /** How long the image, the install or the run took. */
    qint64 milliseconds = 0;
};

} // namespace engine

Q_DECLARE_METATYPE(engine::RunEvent)
