// SPDX-License-Identifier: Apache-2.0
#pragma once

/** Simulates a full disk while the object exists: limits the size of files. */
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
