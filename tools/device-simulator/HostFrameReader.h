// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/FrameAssembler.h"

#include <QByteArray>
#include <QString>
#include <QVector>

/** One thing found in the bytes that a host sends. */
struct HostItem
{
    enum class Kind {
        Frame,
        /** Complete, but its bytes do not sum to zero. */
        BadChecksum,
        /** Bytes that belong to no frame. */
        Stray,
    };

    Kind kind = Kind::Frame;
    QByteArray bytes;
    /** What is wrong with stray bytes. */
    QString problem;
};

/** Cuts a host's byte stream into frames and names whatever lies between them. */
class HostFrameReader
{
public:
    HostFrameReader();

    QVector<HostItem> read(const QByteArray &bytes);

    /** True while the beginning of a frame waits for its rest. */
    bool isMidFrame() const { return m_assembler.state() >= 0; }

    /** Gives up a half-received frame and returns its bytes. */
    QByteArray dropHalfFrame();

private:
    void feed(quint8 byte);
    void flushStray();

    protocol::FrameAssembler m_assembler;
    QVector<HostItem> m_items;
    QByteArray m_stray;
    QString m_strayProblem;
};
