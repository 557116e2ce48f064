// SPDX-License-Identifier: Apache-2.0
#include "fwm/Failures.h"

#include <iterator>

namespace {

// One failure is one entry, which the formatter would spread out.
// clang-format off
constexpr FailureWords table[] = {
    {Failure::CannotRead, ExitCode::Failed, "cannot-read",
     "The file cannot be read.",
     "Check the path and whether you may read it."},
    {Failure::NotAPackage, ExitCode::PackageRefused, "not-a-package",
     "This is no firmware package.",
     "Check that it is the right file and was not cut short or converted on its way."},
    {Failure::UnknownVersion, ExitCode::PackageRefused, "unknown-version",
     "The package's head is cut short or of an unknown version.",
     "Get the package again, or build it anew."},
    {Failure::NoChecksum, ExitCode::PackageRefused, "no-checksum",
     "The package is of the old form without a checksum.",
     "Build it anew: nothing can tell whether this one is whole."},
    {Failure::ChecksumWrong, ExitCode::PackageRefused, "checksum-wrong",
     "The checksum does not match: the package was changed or damaged.",
     "Get the package again. Devices refuse this one."},
    {Failure::DescriptionUnreadable, ExitCode::PackageRefused, "description-unreadable",
     "The package's description cannot be read.",
     "Build the package anew from a sound request."},
    {Failure::RecordsDamaged, ExitCode::PackageRefused, "records-damaged",
     "The images in the package are not all there.",
     "Build the package anew; 'fwm verify' tells where it breaks off."},
    {Failure::TooManyRecords, ExitCode::PackageRefused, "too-many-records",
     "The package holds more images than any description can name.",
     "This is no package for a device. Build it anew."},
    {Failure::DescriptionTooLong, ExitCode::Failed, "description-too-long",
     "The new description would be longer than 65535 bytes.",
     "Take images out of the package, or shorten its names."},
    {Failure::FindingsFound, ExitCode::PackageRefused, "findings",
     "The package has errors.",
     "Each line above names one; build the package anew without them."},
    {Failure::RequestTooLong, ExitCode::Failed, "request-too-long",
     "The request is longer than 65535 bytes, which no package can hold.",
     "Shorten names and paths, or write the JSON without indentation."},
    {Failure::RequestNotAscii, ExitCode::Failed, "request-not-ascii",
     "The request has characters beyond ASCII, which would make the package unreadable.",
     "Write them in ASCII, or as \\u escapes."},
    {Failure::RequestUnreadable, ExitCode::Failed, "request-unreadable",
     "The request is not the JSON that a package needs.",
     "See fwm-format.md for a request that works."},
    {Failure::RequestValue, ExitCode::Failed, "request-value",
     "The request has a value that no package may have.",
     "Correct that value; fwm-format.md tells what each may be."},
    {Failure::ImageMissing, ExitCode::Failed, "image-missing",
     "An image file does not exist.",
     "Correct \"fw_file\"; relative paths start at the request's folder."},
    {Failure::ImageUnreadable, ExitCode::Failed, "image-unreadable",
     "An image file cannot be opened.",
     "Check that it is an ordinary file and that you may read it."},
    {Failure::ImageTooLarge, ExitCode::Failed, "image-too-large",
     "An image is 4 GiB or larger, which no package can hold.",
     "Check that \"fw_file\" names the right file."},
    {Failure::ImageChanged, ExitCode::Failed, "image-changed",
     "A file changed while it was read.",
     "Run the command again when nothing writes to it any more."},
    {Failure::NetImageDamaged, ExitCode::PackageRefused, "net-image-damaged",
     "The network module image is damaged: its MD5 does not match its archive.",
     "Make it anew with 'fwm make-net'."},
    {Failure::NotAnArchive, ExitCode::Failed, "not-an-archive",
     "This is no bzip2-compressed tar archive and no folder with files in it.",
     "Give the folder itself, or compress the archive with bzip2."},
    {Failure::ArchiverFailed, ExitCode::Failed, "archiver-failed",
     "The archiver tar could not do its work.",
     "Check that tar and bzip2 are installed and that every file can be read."},
    {Failure::CannotWrite, ExitCode::Failed, "cannot-write",
     "The output cannot be written.",
     "Check the folder, whether you may write there, and that the disk is not full."},
    {Failure::OutputIsInput, ExitCode::Failed, "output-is-input",
     "The output would take the place of an input.",
     "Give another name to -o."},
    {Failure::OutputInSource, ExitCode::Usage, "output-in-source",
     "The output is inside the source folder, so the next image would contain it.",
     "Give -o a name outside of that folder."},
    {Failure::FolderNotEmpty, ExitCode::Failed, "folder-not-empty",
     "The output folder exists and is not empty.",
     "Give a new folder to -o, or empty this one."},
    {Failure::RowsUnreadable, ExitCode::Failed, "rows-unreadable",
     "A row is not one of a device's chips.",
     "Write name, chip type, chip index, MCU type, PCB version, speciality code and three version "
     "numbers, separated by commas; each number is from 0 to 255."},
    {Failure::InputTooLong, ExitCode::Failed, "input-too-long",
     "The file is longer than 1 MiB, which no list of rows and no device file is.",
     "Check that this is the right file."},
    {Failure::DeviceUnreadable, ExitCode::Failed, "device-unreadable",
     "The device file is not one.",
     "See simulator.md for a device file that works."},
    {Failure::ChipMissing, ExitCode::Failed, "chip-missing",
     "The device has no chip for this row, and the upgrade would fail.",
     "Compare the device's chip indices with the package's quantities. A device that numbers its "
     "chips by quantity is upgraded with --request-all."},
    {Failure::WrongModel, ExitCode::PackageRefused, "wrong-model",
     "The package is for another model of device, and the upgrade would fail.",
     "Get the package for this model. Mode 5 does not compare the model."},
    {Failure::InfoInvalid, ExitCode::Failed, "info-invalid",
     "The main MCU has no valid product information, and the upgrade would fail.",
     "Have the product information written first."},
    {Failure::ImageUnusable, ExitCode::Failed, "image-unusable",
     "The package has no image that could be written for this row, and the upgrade would fail.",
     "Check the package with 'fwm verify' and build it again."},
    {Failure::NotInPackage, ExitCode::Usage, "not-in-package",
     "The package has nothing for a row's chip type, and 'upgrade-console' would refuse the rows.",
     "Compare the rows with 'fwm list'."},
    {Failure::PackageTooOld, ExitCode::PackageRefused, "package-too-old",
     "The package has a version that cannot be used for upgrades.",
     "Build it again with 'fwm build'."},
};
// clang-format on

} // namespace

const QVector<FailureWords> &failures()
{
    static const QVector<FailureWords> all = [] {
        QVector<FailureWords> words;
        std::copy(std::begin(table), std::end(table), std::back_inserter(words));
        return words;
    }();
    return all;
}

const FailureWords &wordsFor(Failure failure)
{
    return failures().at(int(failure));
}
