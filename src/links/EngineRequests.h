// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QStringList>

namespace links {

/** The console's requests to the upgrade engine. A message reports the result of each request. */
class EngineRequests
{
public:
    virtual ~EngineRequests() = default;

    /** Opens a serial port. Always returns false. */
    virtual bool onConnect(QString port) = 0;
    /** Requests the network link to a device. */
    virtual void connectNet(const QString &IP, int port) = 0;
    /** Closes the link. */
    virtual void disconnected() = 0;
    /** Reads the package's description at once, in the calling thread. */
    virtual QString getMergeFWJSON(QString fileName) = 0;
    /** The same before an upgrade of everything in the package; empty when the package may not be
     *  used. */
    virtual QString getMergeFWJSONForUpgrade(const QString &fileName) = 0;
    virtual void uploadByMergeFW(QString fileName, QStringList TypeAndIndex, int upgradeModel) = 0;
    /** True from the request of a run until its end has been delivered by message(). */
    virtual bool runActive() const = 0;
};

} // namespace links
