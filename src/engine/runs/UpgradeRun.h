// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/package/PackageFile.h"
#include "engine/steps/StepTable.h"
#include "package/MatchMask.h"
#include "planning/UpgradeMode.h"
#include "platform/Platform.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

namespace bytes {
class ByteSource;
} // namespace bytes

namespace package {
struct ImageRecord;
} // namespace package

namespace engine {

class EngineOutput;
class PackageShelf;
class RunPackage;
class RunProgress;
class RunReporter;
class RunRows;

/** The decisions of an upgrade run: the action for each row, and the result of its image. */
class UpgradeRun
{
public:
    /** The parts that a run works with. */
    struct Parts
    {
        RunRows &rows;
        PackageShelf &shelf;
        RunPackage &package;
        const EngineOutput &output;
        RunReporter &report;
        RunProgress &progress;
        /** Writes an image into a chip; the result is passed to takeImageResult(). */
        std::function<void(quint8 chipType, quint8 chipIndex, const QByteArray &image)> write;
        /** Installs an image of the module itself; returns whether that succeeded. */
        std::function<bool(bytes::ByteSource &image)> install;
    };

    UpgradeRun(const Parts &parts, const platform::Platform &platform);

    /** Resets the state of the previous run. */
    void begin(int mode);
    /** As begin(), for a single file, which has no mode. */
    void beginFile();
    /** The engine's operation kind, which may also be a product-information read. */
    void setMode(int mode) { m_mode = mode; }
    /** Checks the package and stores the rows; none when the package ends the run. */
    std::optional<Event> start(const QString &fileName, const QStringList &rows);

    /** Decides for the current row. */
    Event choose();
    /** Sends or installs the image of the current row. */
    std::optional<Event> sendImage();
    /** Reports why the package cannot be read any more, if it cannot. */
    void reportPackageFault();
    /** Takes the writer's result for the current row. */
    Event takeImageResult(bool written);
    void pauseAfterImage() const;

    // A main MCU in its bootcode is written before all others, once in a run: one that stays in its
    // bootcode would be written without end.
    bool mayWriteMainFirst() const { return m_mainFirstRow < 0; }
    void beginMainFirst();
    /** Ends the item of the current row: ItemDone, or MainFirstDone when the main MCU was written
     *  before the others, whose rows are still unread. */
    Event itemDone();

    bool hasWritten() const { return m_imageWritten; }
    /** Whether the progress is reset to 0 when the run succeeds. */
    bool resetsProgress() const
    {
        return m_mode == planning::upgradeMode::newerOnly ||
               m_mode == planning::upgradeMode::forced;
    }
    bool writesInfoAfterwards() const { return m_mode == planning::upgradeMode::imagesOnly; }

private:
    std::optional<Event> firstEvent();
    bool isUsable(PackageCheck check);
    bool isTrusted();
    Event decide();
    std::optional<Event> writeImage(const package::ImageRecord &record);
    Event installImage(const package::ImageRecord &record);
    void skip(const char *why);
    Event skipFailed();
    /** Stores and reports the result of the current row. */
    void endRow(const char *stored, const char *reported);

    Parts m_parts;
    const platform::Platform m_platform;
    int m_mode = planning::upgradeMode::imagesOnly;
    package::MatchMask m_mask;
    /** The entry of the firmware list chosen for the current row. */
    QString m_entry;
    bool m_mainIsFirst = false;
    /** The row that was written before all others; -1 for none. */
    int m_mainFirstRow = -1;
    bool m_imageWritten = false;
};

} // namespace engine
