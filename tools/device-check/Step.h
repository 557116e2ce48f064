// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-check/Times.h"

#include <QByteArray>
#include <QString>
#include <QVector>

#include <functional>

namespace devicecheck {

using std::chrono::milliseconds;

/** What one answer must be. */
struct Expected
{
    enum class Kind {
        /** The ordinary form with data. */
        Data,
        /** The extended form with this status. */
        Status,
        /** The extended form with a status other than 0. */
        Refusal,
        /** Any frame with the command word. */
        Any,
    };

    Kind kind = Kind::Any;
    quint16 word = 0;
    quint8 status = 0;
    /** How many data bytes an answer in the ordinary form has. */
    int leastData = 0;
    int mostData = 0;
    /** Says what is wrong with the data of an answer in the ordinary form; empty when nothing is.
     */
    std::function<QString(const QByteArray &data)> problemOfData = nullptr;
};

/** Bytes that the host sends, and the pause before them. */
struct Piece
{
    QByteArray bytes;
    milliseconds pause{0};
};

/** One exchange with the device: what the host sends and what must come back. */
struct Step
{
    enum class Action { Send, SwitchPowerOffAndOn };

    /** For people: "read the version of chip 0, 0". */
    QString text;
    QVector<Piece> pieces;
    /** In the order in which they must arrive; empty when there must be no answer. */
    QVector<Expected> answers;
    /** Whether the device may also give no answer at all. */
    bool maySayNothing = false;
    /** From the last byte of the host to the first answer. */
    milliseconds limit = times::answer;
    /** From each answer to the next one. */
    milliseconds limitBetween = times::answer;
    /** How many times it is sent until it is answered as expected. */
    int attempts = 1;
    Action action = Action::Send;
    /** One of many alike, which is not kept when it is as expected. */
    bool isOneOfMany = false;
};

/** Bytes on the line. */
struct Traffic
{
    bool isFromHost = false;
    /** Since the beginning of the checks. */
    milliseconds time{0};
    QByteArray bytes;
};

/** What happened in one step. */
struct Exchange
{
    QString text;
    QVector<Traffic> traffic;
    /** The frames that were taken as answers, in their order. */
    QVector<QByteArray> answers;
    /** From the last byte of the host to the end of the first answer. */
    milliseconds answerTime{0};
    /** The longest gap between bytes of one answer. */
    milliseconds gap{0};
    /** Whole frames that answer nothing. */
    QVector<QByteArray> extraFrames;
    /** Other bytes that are not part of an answer. */
    QByteArray strayBytes;
    /** Why the step failed; empty when it passed. */
    QString problem;
};

} // namespace devicecheck
