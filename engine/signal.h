#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <type_traits>
#include <utility>

namespace qor
{

class Trackable;

namespace detail
{

struct TrackableLink;
struct SignalBody;

/** One slot of a signal. The typed part (how to call it) lives in the derived records of Signal<Args...>. */
struct Connection
{
    virtual ~Connection() = default;

    Connection* prev = nullptr;
    Connection* next = nullptr;
    /** The object the slot is called on, or the owner of a function slot. */
    void* target = nullptr;
    /** Set when the target is a Trackable: the entry in its list. */
    TrackableLink* connectionInfo = nullptr;
    uint8_t isRemoved = 0;
};

/** An entry in a Trackable's list: which body holds a connection that ends at it. */
struct TrackableLink
{
    TrackableLink* prev = nullptr;
    TrackableLink* next = nullptr;
    Trackable* owner = nullptr;
    SignalBody* body = nullptr;
    Connection* connection = nullptr;
};

/** Shared by a signal and every emit running on it, so that a slot may disconnect the last connection (or
    destroy the signal) while the emit still walks the list. */
struct SignalBody
{
    /** One reference for the signal that holds the body, one for each running emit. */
    std::atomic<int32_t> refCount{1};
    Connection* head = nullptr;
    Connection* tail = nullptr;
    /** Depth of running emits: records are only unlinked when it is back at 0. */
    std::atomic<uint8_t> isEmitting{0};
    /** Records marked during an emit and not yet unlinked. */
    int32_t removedCount = 0;
    /** The signal's pointer to this body; cleared when the body leaves the signal. */
    SignalBody** ownerSlot = nullptr;

    /** Appends a record; lists it with the Trackable when one is given. */
    void append(Connection* connection, Trackable* trackable);
    /** Marks the record during an emit, unlinks it otherwise. */
    void remove(Connection* connection);
    /** Removes every record whose target is the given one. */
    void removeTarget(const void* target);
    /** Removes every record: the signal goes away. */
    void removeAll();
    bool hasLiveConnections() const;

    void beginEmit();
    void endEmit();
    void release();

private:
    void unlink(Connection* connection);
    void purgeRemoved();
    /** Detaches the body from its signal once nothing is left in it. */
    void dropWhenEmpty();
};

void detachFromTrackable(Connection* connection);

} // namespace detail

/** A receiver whose connections are cut when it is destroyed. Copies start with no connection. */
class Trackable
{
public:
    Trackable() = default;
    Trackable(const Trackable&) noexcept {}
    Trackable& operator=(const Trackable&) noexcept { return *this; }
    virtual ~Trackable();

    /** Cuts every connection that ends at this object. */
    void disconnectAllSignals();
    bool hasConnections() const { return links != nullptr; }

private:
    friend struct detail::SignalBody;
    friend void detail::detachFromTrackable(detail::Connection*);
    detail::TrackableLink* links = nullptr;
};

/** A synchronous observer list: emit calls each slot on the emitting thread, in the order of connection.
    Connecting and disconnecting belong to one thread; an emit with no connection touches nothing. */
template <typename... Args>
class Signal
{
public:
    using Function = void (*)(void* target, Args...);

    Signal() = default;
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;
    Signal(Signal&& other) noexcept { take(other); }
    Signal& operator=(Signal&& other) noexcept
    {
        if (this != &other)
        {
            clear();
            take(other);
        }
        return *this;
    }
    virtual ~Signal() { clear(); }

    template <class T>
    void connect(T* target, void (T::*method)(Args...))
    {
        auto* record = new MemberConnection<T>(method);
        record->target = static_cast<void*>(target);
        ensureBody()->append(record, trackableOf(target));
    }

    void connect(void* target, Function function)
    {
        auto* record = new FunctionConnection(function);
        record->target = target;
        ensureBody()->append(record, nullptr);
    }

    /** A callable owned by `owner`: cut by disconnectAll(owner), or when the owner is a Trackable, by its
        destruction. */
    template <class Owner>
    void connect(Owner* owner, std::function<void(Args...)> function)
    {
        auto* record = new CallableConnection(std::move(function));
        record->target = const_cast<void*>(static_cast<const void*>(owner));
        ensureBody()->append(record, trackableOf(owner));
    }

    template <class T>
    void disconnect(T* target, void (T::*method)(Args...))
    {
        disconnectFirst(
            [&](detail::Connection* c)
            {
                auto* m = dynamic_cast<MemberConnection<T>*>(c);
                return m != nullptr && c->target == static_cast<void*>(target) && m->method == method;
            });
    }

    void disconnect(void* target, Function function)
    {
        disconnectFirst(
            [&](detail::Connection* c)
            {
                auto* f = dynamic_cast<FunctionConnection*>(c);
                return f != nullptr && c->target == target && f->function == function;
            });
    }

    /** Cuts every connection whose target or owner is `target`. */
    void disconnectAll(const void* target)
    {
        if (body != nullptr)
            body->removeTarget(target);
    }

    /** Cuts every connection. */
    void disconnectAll()
    {
        if (body != nullptr)
            body->removeAll();
    }

    void emit(Args... args) const
    {
        detail::SignalBody* b = body;
        if (b == nullptr)
            return;
        b->beginEmit();
        // Connections made by a slot wait for the next emit.
        detail::Connection* last = b->tail;
        for (detail::Connection* c = b->head; c != nullptr; c = c->next)
        {
            if (!c->isRemoved)
                static_cast<Connection*>(c)->call(args...);
            if (c == last)
                break;
        }
        // The slots may have destroyed this signal: only the body is touched from here on.
        b->endEmit();
        b->release();
    }

    void operator()(Args... args) const { emit(args...); }

    bool isEmpty() const { return body == nullptr || !body->hasLiveConnections(); }

private:
    struct Connection : detail::Connection
    {
        virtual void call(Args... args) = 0;
    };

    template <class T>
    struct MemberConnection final : Connection
    {
        using Method = void (T::*)(Args...);
        explicit MemberConnection(Method m) : method(m) {}
        void call(Args... args) override { std::invoke(method, static_cast<T*>(this->target), args...); }
        Method method;
    };

    struct FunctionConnection final : Connection
    {
        explicit FunctionConnection(Function f) : function(f) {}
        void call(Args... args) override { function(this->target, args...); }
        Function function;
    };

    struct CallableConnection final : Connection
    {
        explicit CallableConnection(std::function<void(Args...)> f) : function(std::move(f)) {}
        void call(Args... args) override
        {
            if (function)
                function(args...);
        }
        std::function<void(Args...)> function;
    };

    template <class T>
    static Trackable* trackableOf(T* target)
    {
        if constexpr (std::is_base_of_v<Trackable, std::remove_cv_t<T>>)
            return const_cast<Trackable*>(static_cast<const Trackable*>(target));
        else
            return nullptr;
    }

    detail::SignalBody* ensureBody()
    {
        if (body == nullptr)
        {
            body = new detail::SignalBody();
            body->ownerSlot = &body;
        }
        return body;
    }

    template <class Predicate>
    void disconnectFirst(Predicate&& matches)
    {
        if (body == nullptr)
            return;
        for (detail::Connection* c = body->head; c != nullptr; c = c->next)
        {
            if (!c->isRemoved && matches(c))
            {
                body->remove(c);
                return;
            }
        }
    }

    void take(Signal& other) noexcept
    {
        body = other.body;
        other.body = nullptr;
        if (body != nullptr)
            body->ownerSlot = &body;
    }

    void clear()
    {
        if (body == nullptr)
            return;
        detail::SignalBody* b = body;
        body = nullptr;
        b->ownerSlot = nullptr;
        b->removeAll();
        b->release();
    }

    detail::SignalBody* body = nullptr;
};

using Signal0 = Signal<>;
template <typename A>
using Signal1 = Signal<A>;
template <typename A, typename B>
using Signal2 = Signal<A, B>;
template <typename A, typename B, typename C>
using Signal3 = Signal<A, B, C>;

} // namespace qor
