// SPDX-License-Identifier: Apache-2.0
// The CRC-32 of a file by zlib, read in pieces; or only the reading. Prints nanoseconds per pass.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <vector>
#include <zlib.h>

namespace {

constexpr size_t pieceSize = 1'024'000;

bool pass(const char *path, bool checksum, std::vector<unsigned char> &piece)
{
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    uLong crc = crc32(0, nullptr, 0);
    ssize_t count = 0;
    while ((count = read(fd, piece.data(), piece.size())) > 0) {
        if (checksum)
            crc = crc32(crc, piece.data(), uInt(count));
    }
    close(fd);
    std::fprintf(stderr, "%08lx\n", crc);
    return count == 0;
}

} // namespace

int main(int argc, char **argv)
{
    const bool readOnly = argc == 4 && std::strcmp(argv[3], "--only-read") == 0;
    if (argc != 3 && !readOnly) {
        std::fputs("usage: zlib-checksum FILE PASSES [--only-read]\n", stderr);
        return 2;
    }
    std::vector<unsigned char> piece(pieceSize);
    for (int i = 0; i < std::atoi(argv[2]); ++i) {
        const auto start = std::chrono::steady_clock::now();
        if (!pass(argv[1], !readOnly, piece)) {
            std::perror(argv[1]);
            return 1;
        }
        const auto time = std::chrono::steady_clock::now() - start;
        std::printf("%lld\n", static_cast<long long>(std::chrono::nanoseconds(time).count()));
    }
    return 0;
}
