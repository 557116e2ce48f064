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

    /** A package from a request. It appears under its name only when it is whole; after any
     *  failure there is none. */
    void build(const QString &fileName, const QString &jsonData);
    void addNet(const QString &packagePath, const QString &netPath, const QString &newPath,
                const QString &newVersion);
    /** True when a network module image has the right MD5. Any thread may call this. */
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
