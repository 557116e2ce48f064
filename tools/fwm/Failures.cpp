// SPDX-License-Identifier: Apache-2.0
#include "fwm/Failures.h"

#include <iterator>

namespace {

// One failure is one entry, which the formatter would spread out.
// clang-format off
constexpr FailureWords table[] = {
    {Failure::CannotRead, "cannot-read", ExitCode::Failed,
     "The file cannot be read.",
     "Check the path and whether you may read it."},
    {Failure::NotAPackage, "not-a-package", ExitCode::PackageRefused,
     "This is no firmware package.",
     "Check that it is the right file and was not cut short or converted on its way."},
    {Failure::UnknownVersion, "unknown-version", ExitCode::PackageRefused,
     "The package's head is cut short or of an unknown version.",
     "Get the package again, or build it anew."},
    {Failure::NoChecksum, "no-checksum", ExitCode::PackageRefused,
     "The package is of the old form without a checksum.",
     "Build it anew: nothing can tell whether this one is whole."},
    {Failure::ChecksumWrong, "checksum-wrong", ExitCode::PackageRefused,
     "The checksum does not match: the package was changed or damaged.",
     "Get the package again. Devices refuse this one."},
    {Failure::DescriptionUnreadable, "description-unreadable", ExitCode::PackageRefused,
     "The package's description cannot be read.",
     "Build the package anew from a sound request."},
    {Failure::RecordsDamaged, "records-damaged", ExitCode::PackageRefused,
     "The images in the package are not all there.",
     "Build the package anew; 'fwm verify' tells where it breaks off."},
    {Failure::TooManyRecords, "too-many-records", ExitCode::PackageRefused,
     "The package holds more images than any description can name.",
     "This is no package for a device. Build it anew."},
    {Failure::DescriptionTooLong, "description-too-long", ExitCode::Failed,
     "The new description would be longer than 65535 bytes.",
     "Take images out of the package, or shorten its names."},
    {Failure::FindingsFound, "findings", ExitCode::PackageRefused,
     "The package has errors.",
     "Each line above names one; build the package anew without them."},
    {Failure::RequestTooLong, "request-too-long", ExitCode::Failed,
     "The request is longer than 65535 bytes, which no package can hold.",
     "Shorten names and paths, or write the JSON without indentation."},
    {Failure::RequestNotAscii, "request-not-ascii", ExitCode::Failed,
     "The request has characters beyond ASCII, which would make the package unreadable.",
     "Write them in ASCII, or as \\u escapes."},
    {Failure::RequestUnreadable, "request-unreadable", ExitCode::Failed,
     "The request is not the JSON that a package needs.",
     "See fwm-format.md for a request that works."},
    {Failure::RequestValue, "request-value", ExitCode::Failed,
     "The request has a value that no package may have.",
     "Correct that value; fwm-format.md tells what each may be."},
    {Failure::ImageMissing, "image-missing", ExitCode::Failed,
     "An image file does not exist.",
     "Correct \"fw_file\"; relative paths start at the request's folder."},
    {Failure::ImageUnreadable, "image-unreadable", ExitCode::Failed,
     "An image file cannot be opened.",
     "Check that it is an ordinary file and that you may read it."},
    {Failure::ImageTooLarge, "image-too-large", ExitCode::Failed,
     "An image is 4 GiB or larger, which no package can hold.",
     "Check that \"fw_file\" names the right file."},
    {Failure::ImageChanged, "image-changed", ExitCode::Failed,
     "A file changed while it was read.",
     "Run the command again when nothing writes to it any more."},
    {Failure::NetImageDamaged, "net-image-damaged", ExitCode::PackageRefused,
     "The network module image is damaged: its MD5 does not match its archive.",
     "Make it anew with 'fwm make-net'."},
    {Failure::NotAnArchive, "not-an-archive", ExitCode::Failed,
     "This is no bzip2-compressed tar archive and no folder with files in it.",
     "Give the folder itself, or compress the archive with bzip2."},
    {Failure::ArchiverFailed, "archiver-failed", ExitCode::Failed,
     "The archiver tar could not do its work.",
     "Check that tar and bzip2 are installed and that every file can be read."},
    {Failure::CannotWrite, "cannot-write", ExitCode::Failed,
     "The output cannot be written.",
     "Check the folder, whether you may write there, and that the disk is not full."},
    {Failure::OutputIsInput, "output-is-input", ExitCode::Failed,
     "The output would take the place of an input.",
     "Give another name to -o."},
    {Failure::FolderNotEmpty, "folder-not-empty", ExitCode::Failed,
     "The output folder exists and is not empty.",
     "Give a new folder to -o, or empty this one."},
};
// clang-format on

} // namespace

const QVector<FailureWords> &failures()
{
    static const QVector<FailureWords> all(std::begin(table), std::end(table));
    return all;
}

const FailureWords &wordsFor(Failure failure)
{
    return failures().at(int(failure));
}
