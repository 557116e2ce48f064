// SPDX-License-Identifier: Apache-2.0
// Annotates for ThreadSanitizer where Qt passes data from one thread to another. Qt is not
// instrumented, so the locks of its queues are not seen, and all data of a queued call would be
// reported as a race. What our own threads share without Qt is still checked.
#include <QCoreApplication>
#include <QEvent>
#include <QThread>

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <dlfcn.h>
#include <private/qobject_p.h>
#include <sanitizer/tsan_interface.h>

namespace {

/** Each kind of handover uses its own address: a signal its sender, a call its receiver, a thread's
 *  end the thread (which emits a signal then). */
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

/**
 * The senders of the signals that a thread is emitting, the innermost last. It has no destructor,
 * since signals are emitted until the end of a thread. A sender that a slot deletes stays until an
 * outer signal ends; if there are too many, the outermost is removed, which may cause a false
 * report but hides nothing.
 */
class Emissions
{
public:
    void begin(const QObject *sender)
    {
        if (m_depth == m_senders.size()) {
            std::copy(m_senders.begin() + 1, m_senders.end(), m_senders.begin());
            --m_depth;
        }
        m_senders[m_depth++] = sender;
    }

    void end(const QObject *sender)
    {
        size_t depth = m_depth;
        while (depth > 0 && m_senders[depth - 1] != sender)
            --depth;
        if (depth > 0)
            m_depth = depth - 1;
    }

    const QObject *innermost() const { return m_depth == 0 ? nullptr : m_senders[m_depth - 1]; }

private:
    std::array<const QObject *, 64> m_senders{};
    size_t m_depth = 0;
};
thread_local Emissions emissions;

/** Called before each signal is emitted, in the sender's thread. */
void onSignal(QObject *sender, int /*signal*/, void ** /*arguments*/)
{
    emissions.begin(sender);
    handOver(sender);
}

/** Called when all direct slots have returned and all queued ones have their events. */
void onSignalEnd(QObject *sender, int /*signal*/)
{
    emissions.end(sender);
}

[[gnu::constructor]] void watch()
{
    static QSignalSpyCallbackSet callbacks{onSignal, nullptr, onSignalEnd, nullptr};
    qt_register_signal_spy_callbacks(&callbacks);
    QInternal::registerCallback(QInternal::EventNotifyCallback, onEvent);
}

/** A called function with a handover to the waiting caller at its end. */
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

/** The functions that copy and destroy values of each of our types. Read for every copy, so
 *  relaxed: a memory order would hide races. */
struct OwnType
{
    std::atomic<QMetaType::Constructor> construct{nullptr};
    std::atomic<QMetaType::Destructor> destruct{nullptr};
};
std::array<OwnType, 1024> ownTypes;

OwnType &ownType(int type)
{
    return ownTypes.at(size_t(type - QMetaType::User));
}

/** A queued slot's arguments are copied after the signal was emitted and before the event is
 *  posted; instrumented code copies our own types. */
void *copyOwn(int type, void *where, const void *copy)
{
    void *const value = ownType(type).construct.load(std::memory_order_relaxed)(where, copy);
    if (emissions.innermost() != nullptr)
        handOver(emissions.innermost());
    return value;
}

void destroyOwn(int type, void *value)
{
    ownType(type).destruct.load(std::memory_order_relaxed)(value);
}

template<typename Function>
Function original(const char *symbol)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, symbol));
}

} // namespace

// Qt's own functions, with the handover.

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

int QMetaType::registerNormalizedType(const ::QByteArray &name, Destructor destructor,
                                      Constructor constructor, int size, TypeFlags flags,
                                      const QMetaObject *metaObject)
{
    const int type = registerNormalizedType(name, destroyOwn, copyOwn, size, flags, metaObject);
    ownType(type).construct.store(constructor, std::memory_order_relaxed);
    ownType(type).destruct.store(destructor, std::memory_order_relaxed);
    return type;
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
