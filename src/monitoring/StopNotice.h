// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace runtime {
class NotifySocket;
} // namespace runtime

/** Notifies the service manager when a signal ends the process. */
namespace monitoring::stopNotice {

/** The socket must live as long as the process. */
void sendOnSignals(const runtime::NotifySocket &socket);

} // namespace monitoring::stopNotice
