// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/LineModel.h"

/**
 * The expected behaviour of the engine in one case of the failure matrix, implemented independently
 * and in another form: as plain loops over "send, wait, try again", one for each kind of command,
 * with the model of the line. The texts and the rule of three attempts are the protocol's; judge()
 * has the rules for the meaning of a reply to a command.
 */
class EngineModel
{
public:
    explicit EngineModel(const Disturbance &disturbance);

    QStringList lines;
    const QStringList &frames() const { return m_line.frames(); }
    /** The result of each row, '0' where none was reached. */
    QString results() const;

private:
    enum class Verdict { Answer, Refusal, Short, Silence };

    void upgrade();
    void read();
    void write();

    bool readModelName();
    bool readRow(int row);
    bool readRowPart(int row, const QString &word, const QString &what, const QString &question);
    bool readRowsFrom(int first);
    void readVersions();
    bool sendImage(int row);
    bool sendImagesFrom(int first);
    bool writeImage(int row);
    bool enterUpdateMode(int row);
    bool writeBlocks(int row);
    bool awaitProductId(const QString &which, const QString &givenUp);
    bool reboot();
    void setVirtualVersion();
    void readVirtualVersion();
    void report();

    Verdict exchange(const QString &word, int row = -1);
    static Verdict judge(const QString &word, const ModelReply &reply);
    void sendOrReportLoss(const QString &word, int row);
    void fail(const QString &status, int row);
    void say(const QString &line);
    QString name(int row) const;

    Disturbance m_disturbance;
    LineModel m_line;
    ModelReply m_reply;
    QStringList m_rows[matrix::rowCount];
    bool m_reading = false;
    bool m_imageWritten = false;
    bool m_virtualVersionGivenUp = false;
    int m_rowCount = matrix::rowCount;
};
