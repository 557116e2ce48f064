// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "package/PackageDescription.h"
#include "package/PackageHeader.h"

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

/** The description in a package. */
inline package::PackageDescription describe(const QByteArray &package)
{
    bytes::BytesSource source(package);
    const package::PackageHeader header = package::readPackageHeader(source);
    return package::parseDescription(package::readDescription(source, header));
}
