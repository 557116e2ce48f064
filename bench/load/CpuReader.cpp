// SPDX-License-Identifier: Apache-2.0
#include "load/CpuReader.h"

#include <filesystem>
#include <fstream>

Nanoseconds processorTime(pid_t pid)
{
    Nanoseconds sum{0};
    std::error_code error;
    const auto tasks = "/proc/" + std::to_string(pid) + "/task";
    for (const auto &task : std::filesystem::directory_iterator(tasks, error)) {
        std::ifstream file(task.path() / "schedstat");
        Nanoseconds::rep running = 0;
        if (file >> running)
            sum += Nanoseconds(running);
    }
    return sum;
}
