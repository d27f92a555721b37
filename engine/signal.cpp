#include "engine/signal.h"

namespace qor
{
namespace detail
{

void detachFromTrackable(Connection* connection)
{
    TrackableLink* link = connection->connectionInfo;
    if (link == nullptr)
        return;
    connection->connectionInfo = nullptr;
    Trackable* owner = link->owner;
    if (link->prev != nullptr)
        link->prev->next = link->next;
    else
        owner->links = link->next;
    if (link->next != nullptr)
        link->next->prev = link->prev;
    delete link;
}

void SignalBody::append(Connection* connection, Trackable* trackable)
{
    connection->prev = tail;
    connection->next = nullptr;
    if (tail != nullptr)
        tail->next = connection;
    else
        head = connection;
    tail = connection;

    if (trackable != nullptr)
    {
        auto* link = new TrackableLink();
        link->owner = trackable;
        link->body = this;
        link->connection = connection;
        link->next = trackable->links;
        if (trackable->links != nullptr)
            trackable->links->prev = link;
        trackable->links = link;
        connection->connectionInfo = link;
    }
}

void SignalBody::remove(Connection* connection)
{
    detachFromTrackable(connection);
    if (connection->isRemoved)
        return;
    if (isEmitting.load(std::memory_order_relaxed) != 0)
    {
        connection->isRemoved = 1;
        ++removedCount;
        return;
    }
    unlink(connection);
    dropWhenEmpty();
}

void SignalBody::removeTarget(const void* target)
{
    // Hold the body: removing the last record would otherwise free it under our feet.
    refCount.fetch_add(1, std::memory_order_relaxed);
    for (Connection* c = head; c != nullptr;)
    {
        Connection* next = c->next;
        if (!c->isRemoved && c->target == target)
        {
            detachFromTrackable(c);
            if (isEmitting.load(std::memory_order_relaxed) != 0)
            {
                c->isRemoved = 1;
                ++removedCount;
            }
            else
            {
                unlink(c);
            }
        }
        c = next;
    }
    dropWhenEmpty();
    release();
}

void SignalBody::removeAll()
{
    refCount.fetch_add(1, std::memory_order_relaxed);
    const bool emitting = isEmitting.load(std::memory_order_relaxed) != 0;
    for (Connection* c = head; c != nullptr;)
    {
        Connection* next = c->next;
        if (!c->isRemoved)
        {
            detachFromTrackable(c);
            if (emitting)
            {
                c->isRemoved = 1;
                ++removedCount;
            }
            else
            {
                unlink(c);
            }
        }
        c = next;
    }
    dropWhenEmpty();
    release();
}

bool SignalBody::hasLiveConnections() const
{
    for (const Connection* c = head; c != nullptr; c = c->next)
        if (!c->isRemoved)
            return true;
    return false;
}

void SignalBody::beginEmit()
{
    refCount.fetch_add(1, std::memory_order_relaxed);
    isEmitting.fetch_add(1, std::memory_order_relaxed);
}

void SignalBody::endEmit()
{
    if (isEmitting.fetch_sub(1, std::memory_order_relaxed) != 1)
        return;
    purgeRemoved();
    dropWhenEmpty();
}

void SignalBody::release()
{
    if (refCount.fetch_sub(1, std::memory_order_acq_rel) != 1)
        return;
    for (Connection* c = head; c != nullptr;)
    {
        Connection* next = c->next;
        detachFromTrackable(c);
        delete c;
        c = next;
    }
    delete this;
}

void SignalBody::unlink(Connection* connection)
{
    if (connection->prev != nullptr)
        connection->prev->next = connection->next;
    else
        head = connection->next;
    if (connection->next != nullptr)
        connection->next->prev = connection->prev;
    else
        tail = connection->prev;
    if (connection->isRemoved)
        --removedCount;
    delete connection;
}

void SignalBody::purgeRemoved()
{
    if (removedCount == 0)
        return;
    for (Connection* c = head; c != nullptr && removedCount > 0;)
    {
        Connection* next = c->next;
        if (c->isRemoved)
            unlink(c);
        c = next;
    }
}

void SignalBody::dropWhenEmpty()
{
    if (head != nullptr || ownerSlot == nullptr || isEmitting.load(std::memory_order_relaxed) != 0)
        return;
    *ownerSlot = nullptr;
    ownerSlot = nullptr;
    release();
}

} // namespace detail

Trackable::~Trackable()
{
    disconnectAllSignals();
}

void Trackable::disconnectAllSignals()
{
    while (links != nullptr)
    {
        detail::TrackableLink* link = links;
        link->body->remove(link->connection);
    }
}

} // namespace qor
