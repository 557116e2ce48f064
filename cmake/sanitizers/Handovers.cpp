// SPDX-License-Identifier: Apache-2.0
// Tells ThreadSanitizer where the framework hands something from one thread to another. The
// framework is not instrumented, so the locks behind its queues are not seen, and everything that
// crosses in a queued call would look like a race. What our own threads share beside these
// handovers is still checked.
#include <QCoreApplication>
#include <QEvent>
#include <QThread>

#include <climits>
#include <dlfcn.h>
#include <private/qobject_p.h>
#include <sanitizer/tsan_interface.h>

namespace {

/** Each way of handing over goes by an address of its own: a signal by its sender, a call by its
 *  receiver, a thread's end by the thread (which emits a signal then). */
void handOver(const QObject *way)
{
    __tsan_release(const_cast<QObject *>(way));
}

void takeOver(const QObject *way)
{
    __tsan_acquire(const_cast<QObject *>(way));
}

/** Called before each event is delivered, in the receiver's thread. */
bool onEvent(void **data)
{
    const auto *const receiver = static_cast<const QObject *>(data[0]);
    const auto *const event = static_cast<const QEvent *>(data[1]);
    if (event->type() == QEvent::MetaCall) {
        const QObject *const sender = static_cast<const QAbstractMetaCallEvent *>(event)->sender();
        takeOver(sender != nullptr ? sender : receiver);
    }
    return false;
}

/** Called before each signal goes out, in the sender's thread. */
void onSignal(QObject *sender, int /*signal*/, void ** /*arguments*/)
{
    handOver(sender);
}

[[gnu::constructor]] void watch()
{
    static QSignalSpyCallbackSet callbacks{onSignal, nullptr, nullptr, nullptr};
    qt_register_signal_spy_callbacks(&callbacks);
    QInternal::registerCallback(QInternal::EventNotifyCallback, onEvent);
}

/** A called function that hands back when it is done, for a caller that waits for it. */
class Returning : public QtPrivate::QSlotObjectBase
{
public:
    explicit Returning(QtPrivate::QSlotObjectBase *slot) : QSlotObjectBase(impl), m_slot(slot) {}

private:
    static void impl(int which, QSlotObjectBase *base, QObject *receiver, void **arguments,
                     bool *isEqual)
    {
        auto *const self = static_cast<Returning *>(base);
        Q_UNUSED(isEqual)
        if (which == Destroy) {
            self->m_slot->destroyIfLastRef();
            delete self;
        } else if (which == Call) {
            self->m_slot->call(receiver, arguments);
            handOver(receiver);
        }
    }

    QtPrivate::QSlotObjectBase *m_slot;
};

template<typename Function>
Function original(const char *symbol)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, symbol));
}

} // namespace

// The framework's own functions, with the handover around them.

bool QMetaObject::invokeMethodImpl(QObject *object, QtPrivate::QSlotObjectBase *slot,
                                   Qt::ConnectionType type, void *result)
{
    using Invoke = bool (*)(QObject *, QtPrivate::QSlotObjectBase *, Qt::ConnectionType, void *);
    static const auto invoke = original<Invoke>("_ZN11QMetaObject16invokeMethodImplEP7QObject"
                                                "PN9QtPrivate15QSlotObjectBaseE"
                                                "N2Qt14ConnectionTypeEPv");
    handOver(object);
    if (type != Qt::BlockingQueuedConnection)
        return invoke(object, slot, type, result);
    const bool isDone = invoke(object, new Returning(slot), type, result);
    takeOver(object);
    return isDone;
}

bool QThread::wait(QDeadlineTimer deadline)
{
    using Wait = bool (*)(QThread *, QDeadlineTimer);
    static const auto wait = original<Wait>("_ZN7QThread4waitE14QDeadlineTimer");
    const bool hasEnded = wait(this, deadline);
    if (hasEnded)
        takeOver(this);
    return hasEnded;
}

bool QThread::wait(unsigned long milliseconds)
{
    return wait(milliseconds == ULONG_MAX ? QDeadlineTimer(QDeadlineTimer::Forever)
                                          : QDeadlineTimer(qint64(milliseconds)));
}
