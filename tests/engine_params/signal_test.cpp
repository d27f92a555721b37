#include "engine/signal.h"
#include "tests/support/alloc_counter.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace qor
{
namespace
{

std::vector<std::string> calls;

struct Receiver : Trackable
{
    explicit Receiver(std::string n) : name(std::move(n)) {}
    void onValue(int v) { calls.push_back(name + ":" + std::to_string(v)); }
    std::string name;
};

struct PlainReceiver
{
    void onValue(int v) { calls.push_back("plain:" + std::to_string(v)); }
};

class SignalTest : public ::testing::Test
{
protected:
    void SetUp() override { calls.clear(); }
};

TEST_F(SignalTest, CallsSlotsInOrderOfConnection)
{
    Signal1<int> signal;
    Receiver a("a"), b("b");
    PlainReceiver p;
    signal.connect(&a, &Receiver::onValue);
    signal.connect(&p, &PlainReceiver::onValue);
    signal.connect(&b, &Receiver::onValue);
    signal.emit(7);
    EXPECT_EQ(calls, (std::vector<std::string>{"a:7", "plain:7", "b:7"}));
}

TEST_F(SignalTest, DisconnectRemovesOnlyTheFirstMatchingRecord)
{
    Signal1<int> signal;
    Receiver a("a");
    signal.connect(&a, &Receiver::onValue);
    signal.connect(&a, &Receiver::onValue);
    signal.disconnect(&a, &Receiver::onValue);
    signal.emit(1);
    EXPECT_EQ(calls, (std::vector<std::string>{"a:1"}));
    signal.disconnect(&a, &Receiver::onValue);
    EXPECT_TRUE(signal.isEmpty());
    signal.emit(2);
    EXPECT_EQ(calls.size(), 1u);
}

TEST_F(SignalTest, PlainFunctionsAndCallablesWithOwners)
{
    Signal2<int, float> signal;
    int owner = 0;
    auto fn = +[](void* target, int a, float b) { *static_cast<int*>(target) += a * int(b); };
    signal.connect(&owner, fn);
    int lambdaSum = 0;
    signal.connect(&lambdaSum, std::function<void(int, float)>([&](int a, float) { lambdaSum += a; }));
    signal.emit(3, 2.0f);
    EXPECT_EQ(owner, 6);
    EXPECT_EQ(lambdaSum, 3);

    signal.disconnect(&owner, fn);
    signal.disconnectAll(&lambdaSum);
    EXPECT_TRUE(signal.isEmpty());
    signal.emit(3, 2.0f);
    EXPECT_EQ(owner, 6);
    EXPECT_EQ(lambdaSum, 3);
}

TEST_F(SignalTest, SelfDisconnectDuringEmitSkipsOnlyThatSlot)
{
    Signal0 signal;
    struct Self
    {
        Signal0* signal;
        int count = 0;
        void fire()
        {
            ++count;
            signal->disconnect(this, &Self::fire);
        }
    } self{&signal};
    int others = 0;
    signal.connect(&self, &Self::fire);
    signal.connect(&others, std::function<void()>([&] { ++others; }));
    signal.emit();
    signal.emit();
    EXPECT_EQ(self.count, 1);
    EXPECT_EQ(others, 2);
}

TEST_F(SignalTest, DisconnectingALaterSlotDuringEmitStopsItAtOnce)
{
    Signal1<int> signal;
    Receiver a("a"), b("b");
    int first = 0;
    signal.connect(&first, std::function<void(int)>(
                               [&](int)
                               {
                                   ++first;
                                   signal.disconnect(&a, &Receiver::onValue);
                               }));
    signal.connect(&a, &Receiver::onValue);
    signal.connect(&b, &Receiver::onValue);
    signal.emit(5);
    EXPECT_EQ(calls, (std::vector<std::string>{"b:5"}));
    EXPECT_FALSE(a.hasConnections());
}

TEST_F(SignalTest, LastSlotRemovingItselfFreesTheBody)
{
    Signal0 signal;
    int count = 0;
    signal.connect(&count, std::function<void()>(
                               [&]
                               {
                                   ++count;
                                   signal.disconnectAll(&count);
                                   EXPECT_TRUE(signal.isEmpty());
                               }));
    signal.emit();
    EXPECT_TRUE(signal.isEmpty());
    signal.emit();
    EXPECT_EQ(count, 1);
    // The signal is usable again after it became empty.
    signal.connect(&count, std::function<void()>([&] { count += 10; }));
    signal.emit();
    EXPECT_EQ(count, 11);
}

TEST_F(SignalTest, ConnectionsMadeDuringEmitWaitForTheNextOne)
{
    Signal1<int> signal;
    Receiver late("late");
    int owner = 0;
    signal.connect(&owner, std::function<void(int)>(
                               [&](int)
                               {
                                   if (owner++ == 0)
                                       signal.connect(&late, &Receiver::onValue);
                               }));
    signal.emit(1);
    EXPECT_TRUE(calls.empty());
    signal.emit(2);
    EXPECT_EQ(calls, (std::vector<std::string>{"late:2"}));
}

TEST_F(SignalTest, TrackableDestructionDisconnects)
{
    Signal1<int> first, second;
    auto r = std::make_unique<Receiver>("r");
    first.connect(r.get(), &Receiver::onValue);
    second.connect(r.get(), &Receiver::onValue);
    second.connect(r.get(), std::function<void(int)>([](int) { calls.push_back("lambda"); }));
    EXPECT_TRUE(r->hasConnections());
    r.reset();
    EXPECT_TRUE(first.isEmpty());
    EXPECT_TRUE(second.isEmpty());
    first.emit(1);
    second.emit(2);
    EXPECT_TRUE(calls.empty());
}

TEST_F(SignalTest, TrackableDestroyedDuringEmitIsNotCalled)
{
    Signal1<int> signal;
    int owner = 0;
    auto victim = std::make_unique<Receiver>("victim");
    Receiver survivor("survivor");
    signal.connect(&owner, std::function<void(int)>([&](int) { victim.reset(); }));
    signal.connect(victim.get(), &Receiver::onValue);
    signal.connect(&survivor, &Receiver::onValue);
    signal.emit(4);
    EXPECT_EQ(calls, (std::vector<std::string>{"survivor:4"}));
}

TEST_F(SignalTest, SignalDestroyedBeforeItsTrackables)
{
    Receiver r("r");
    {
        Signal1<int> signal;
        signal.connect(&r, &Receiver::onValue);
        EXPECT_TRUE(r.hasConnections());
    }
    EXPECT_FALSE(r.hasConnections());
}

TEST_F(SignalTest, SignalDestroyedByItsOwnSlot)
{
    auto signal = std::make_unique<Signal1<int>>();
    Receiver after("after");
    int owner = 0;
    signal->connect(&owner, std::function<void(int)>([&](int) { signal.reset(); }));
    signal->connect(&after, &Receiver::onValue);
    signal->emit(9);
    EXPECT_EQ(signal, nullptr);
    EXPECT_TRUE(calls.empty());
    EXPECT_FALSE(after.hasConnections());
}

TEST_F(SignalTest, EmitAllocatesNothing)
{
    Signal3<int, int, int> empty;
    Signal1<int> connected;
    Receiver r("r");
    connected.connect(&r, &Receiver::onValue);
    calls.reserve(16);
    {
        test::AllocationCounter counter;
        empty.emit(1, 2, 3);
        EXPECT_EQ(counter.count(), 0u);
    }
    EXPECT_TRUE(empty.isEmpty());
    // The receiver itself allocates for its string; only the signal's own work is measured here.
    int hits = 0;
    Signal1<int> counting;
    counting.connect(
        &hits, +[](void* t, int v) { *static_cast<int*>(t) += v; });
    {
        test::AllocationCounter counter;
        counting.emit(2);
        EXPECT_EQ(counter.count(), 0u);
    }
    EXPECT_EQ(hits, 2);
}

TEST_F(SignalTest, MovedSignalKeepsItsConnections)
{
    Signal1<int> a;
    Receiver r("r");
    a.connect(&r, &Receiver::onValue);
    Signal1<int> b(std::move(a));
    EXPECT_TRUE(a.isEmpty());
    b.emit(3);
    EXPECT_EQ(calls, (std::vector<std::string>{"r:3"}));
    b.disconnect(&r, &Receiver::onValue);
    EXPECT_TRUE(b.isEmpty());
    EXPECT_FALSE(r.hasConnections());
}

} // namespace
} // namespace qor
