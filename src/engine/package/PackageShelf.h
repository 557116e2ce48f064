// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/package/PackageFile.h"
#include "package/PackageCheckCache.h"
#include "runtime/Guarded.h"
#include "signing/Verdict.h"

#include <QString>
#include <QStringList>

#include <functional>

namespace bytes {
class ByteSource;
} // namespace bytes

namespace package {
struct PackageDescription;
} // namespace package

namespace engine {

class EngineOutput;

/**
 * The package that was listed or planned last: its firmware list, model, version and description.
 * The console lists packages from its own thread.
 */
class PackageShelf
{
public:
    /** `reportUnreadable` is called for a package that is listed and cannot be opened. The keys are
     *  read from the folder for each list that is reported. */
    PackageShelf(const EngineOutput &output, std::function<void()> reportUnreadable,
                 const QString &keyFolder);

    /** Checks a package that is to be listed. */
    PackageCheck check(const QString &fileName);
    /**
     * The description as it is stored, or an error text. Reports the result and keeps it; a quiet
     * list only returns the text.
     */
    QString list(const QString &fileName, bool quiet);
    /** The same for an upgrade of everything in the package: empty when the keys do not allow its
     *  use, which is reported as a failed run. */
    QString listForUpgrade(const QString &fileName);
    /** Keeps what a run needs, without a message. */
    void keepForRun(bytes::ByteSource &package);

    /** The kept values, all of the same package. */
    struct Contents
    {
        QStringList firmwareList;
        QString model;
        QString version;
        QString json;
    };
    Contents contents() const { return m_contents.get(); }
    QString model() const { return contents().model; }
    QString version() const { return contents().version; }
    QString json() const { return contents().json; }
    QStringList firmwareList() const { return contents().firmwareList; }
    /** The fields of the first entry for a chip type. */
    QStringList entryOf(int chipType) const;

private:
    enum class Use { List, Upgrade, Plan, TextOnly };
    struct Checked
    {
        PackageCheck check;
        signing::Verdict trust;
    };

    Checked checkFile(bytes::FileSource &file, const QString &path, Use use);
    void reportUnopened(PackageCheck check) const;
    QString open(const QString &fileName, Use use);
    QString load(bytes::FileSource &file, const Checked &checked, Use use);
    void reportFailure() const;
    QString loadHead(bytes::ByteSource &source, Use use);
    QString loadDescription(const package::PackageDescription &description, Use use);
    void sayTo(Use use, const QString &line) const;

    const EngineOutput &m_output;
    std::function<void()> m_reportUnreadable;
    const QString m_keyFolder;
    package::PackageCheckCache m_checks;
    runtime::Guarded<Contents> m_contents;
};

} // namespace engine
