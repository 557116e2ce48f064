// SPDX-License-Identifier: Apache-2.0
#pragma once

/** Files may not grow beyond so many bytes meanwhile: the disk is full. */
class FullDisk
{
public:
    explicit FullDisk(unsigned long bytes);
    ~FullDisk();
    FullDisk(const FullDisk &) = delete;
    FullDisk &operator=(const FullDisk &) = delete;

private:
    unsigned long m_before;
};
