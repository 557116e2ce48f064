// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QFile>
#include <QtTest>

/** A golden package by its name without the ".fwm". */
inline QByteArray golden(const QString &name)
{
    QFile file(QStringLiteral(TEST_DATA_DIR "/%1.fwm").arg(name));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("No golden package %s", qPrintable(file.fileName()));
    return file.readAll();
}
