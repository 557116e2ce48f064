// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QMetaMethod>
#include <QStringList>

/** What a class itself declares, in order: "signal name(types) parameters" or "slot ...". */
inline QStringList declaredMethods(const QMetaObject &meta)
{
    QStringList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        const QByteArray kind = method.methodType() == QMetaMethod::Signal ? "signal " : "slot ";
        methods += QString::fromLatin1(kind + method.methodSignature() + ' ' +
                                       method.parameterNames().join(' '))
                       .trimmed();
    }
    // Qt 5 records the name in the source, Qt 6 that of the type.
    return methods.replaceInStrings("QList<QString>", "QStringList");
}
