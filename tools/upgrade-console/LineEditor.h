// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QObject>
#include <QSocketNotifier>
#include <QString>

/** Lines from standard input: on a terminal with editing and a history. */
class LineEditor : public QObject
{
    Q_OBJECT

public:
    explicit LineEditor(QObject *parent = nullptr);
    ~LineEditor() override;
    LineEditor(const LineEditor &) = delete;
    LineEditor &operator=(const LineEditor &) = delete;

    void start();
    /** Prints a line to standard output and keeps the line that is being edited; false when
     * standard output cannot be written. */
    bool print(const QString &line);

signals:
    void line(const QString &text);
    /** The input has ended. */
    void ended();

private:
    void onReadable();
    void readPlain();
    static void takeEdited(char *text);

    bool m_isTerminal;
    bool m_isEditing = false;
    QByteArray m_rest;
    QSocketNotifier m_notifier;
};
