// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

namespace bytes {
class ByteSource;
} // namespace bytes

namespace package {
struct NetMergePlan;
} // namespace package

namespace engine {

class EngineOutput;

/** Builds packages, and adds the module's own firmware to them. */
class PackageBuilder
{
public:
    explicit PackageBuilder(const EngineOutput &output) : m_output(output) {}

    /** Builds a package from a request. The file appears only when it is complete. */
    void build(const QString &fileName, const QString &jsonData);
    void addNet(const QString &packagePath, const QString &netPath, const QString &newPath,
                const QString &newVersion);
    /** True when the MD5 of a network module image is correct. Any thread may call this. */
    bool checkNet(const QString &filePath);

private:
    bool mergeNet(const QString &packagePath, const QString &netPath, const QString &newPath,
                  const QString &newVersion);
    bool writeNet(const package::NetMergePlan &plan, bytes::ByteSource &package,
                  bytes::ByteSource &net, const QString &newPath);
    void sayNet(const QString &text);

    const EngineOutput &m_output;
};

} // namespace engine
