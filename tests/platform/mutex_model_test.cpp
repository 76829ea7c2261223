// The mutex's protocol through every interleaving of a few threads. The decisions are those that the mutex
// itself makes; what stands here is their order: each access to the word, the line or its lock is a step, and
// a time-out may come at any moment. A thread that is suspended gives back and tries again, which is another
// round.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <unordered_set>

#include "platform/linux/objects/mutex_word.h"

namespace {

using namespace mutex_word;

// One of them may be put in, and the search has to find it.
enum class Fault : std::uint8_t {
    None,
    CallsByAnEarlierLook,
    LinesUpByAnEarlierLook,
    OverhearsACall,
    KeepsWaking,
    ForgetsAPromise
};

enum class At : std::uint8_t {
    Start,
    LineUp,
    Append,
    Sleep,
    Leave,
    LookWoken,
    Inside,
    GiveBack,
    KeepPromise,
    Call,
    Tell,
    Close,
    Done
};
enum class Told : std::uint8_t { Nothing, ToLook, IsOwner };

constexpr std::size_t kMost = 3;
constexpr std::uint8_t kNone = 0xFF;

struct Thread {
    At at = At::Start;
    std::uint8_t rounds = 0;
    bool timesOut = false;
    bool abandons = false;
    bool closes = false;    // the handles, in its last round
    bool promises = false;  // gives back without a call; its next round keeps that, or a call after the last
    bool keeps = false;     // has the mutex only to keep a promise
    std::uint8_t patienceUsed = 0;  // at the start of a wait
    std::uint8_t passedOver = 0;
    Told told = Told::Nothing;
    std::uint8_t called = kNone;  // whom it is calling
};

struct State {
    Word word = 0;
    std::uint8_t lockedBy = kNone;
    std::uint8_t inside = 0;
    std::uint8_t released = 0;  // the reference that the closed handles leave to an owner
    std::uint8_t length = 0;
    std::array<std::uint8_t, kMost + 4> line{};
    std::array<Thread, kMost> threads{};

    std::string Key() const { return {reinterpret_cast<const char*>(this), sizeof *this}; }
};
static_assert(std::has_unique_object_representations_v<State>);

// One step of one thread.
class Step {
  public:
    Step(State& state, std::uint8_t self, Fault fault)
        : state_(state), self_(self), thread_(state.threads[self]), fault_(fault) {}

    bool TimeOut() {
        if (thread_.at != At::Sleep || !thread_.timesOut) return false;
        thread_.at = At::Leave;
        return true;
    }

    // False if the thread can't go on by itself.
    bool Go() {
        switch (thread_.at) {
            case At::Start:
                thread_.passedOver = thread_.patienceUsed;
                LookAtIt(false);
                return true;
            case At::LineUp:
                return UnderLock(&Step::LineUp);
            case At::Append:
                Append();
                return true;
            case At::Sleep:
                return WakeUp();
            case At::Leave:
                return UnderLock(&Step::Leave);
            case At::LookWoken:
                LookAtIt(true);
                return true;
            case At::Inside:
                --state_.inside;
                thread_.at = At::GiveBack;
                return true;
            case At::GiveBack:
                GiveBack();
                return true;
            case At::KeepPromise:
                KeepPromise();
                return true;
            case At::Call:
                return UnderLock(&Step::CallNext);
            case At::Tell:
                Tell();
                return true;
            case At::Close:
                return UnderLock(&Step::CloseAll);
            case At::Done:
                break;
        }
        return false;
    }

  private:
    static Word IdOf(std::uint8_t thread) { return OwnedBy(4u * (thread + 1u)); }
    Word Abandoned() const { return thread_.abandons ? AbandonedMark : 0; }

    // Taking the lock and what comes first under it are one step: the lock is taken no sooner than it is
    // needed, and no one sees a lock under which nothing has been done yet.
    bool UnderLock(void (Step::*first)()) {
        if (state_.lockedBy != kNone) return false;
        state_.lockedBy = self_;
        (this->*first)();
        return true;
    }
    void Unlock(At next) {
        state_.lockedBy = kNone;
        thread_.at = next;
    }
    At AfterRound() {
        thread_.told = Told::Nothing;
        thread_.called = kNone;
        thread_.keeps = false;
        if (thread_.rounds != 0 && --thread_.rounds != 0) return At::Start;
        return thread_.closes ? At::Close : At::Done;
    }
    void Enter() {
        ++state_.inside;
        thread_.at = At::Inside;
    }

    void LookAtIt(bool woken) {
        const Look look = LookAt(state_.word, IdOf(self_), woken && fault_ != Fault::KeepsWaking);
        state_.word = look.next;
        if (look.attempt == Attempt::Closed) {
            thread_.at = AfterRound();
        } else if (look.attempt != Attempt::Busy) {
            Enter();
        } else {
            if (woken && !IsHandedOver(thread_.passedOver)) ++thread_.passedOver;
            thread_.at = At::LineUp;
        }
    }

    void LineUp() {
        const auto next = LinedUp(state_.word);
        if (next)
            state_.word = *next;
        else if (fault_ == Fault::LinesUpByAnEarlierLook && (state_.word & ClosedMark) == 0)
            state_.word |= QueuedMark;
        else
            return Unlock(At::Start);
        thread_.at = At::Append;
    }
    void Append() {
        auto* const end = state_.line.begin() + state_.length++;
        auto* const place = thread_.passedOver != 0 ? state_.line.begin() : end;
        std::copy_backward(place, end, end + 1);
        *place = self_;
        thread_.told = Told::Nothing;
        Unlock(At::Sleep);
    }
    void Remove(std::uint8_t thread) {
        auto* const end = state_.line.begin() + state_.length;
        auto* const found = std::find(state_.line.begin(), end, thread);
        if (found == end) return;
        std::copy(found + 1, end, found);
        state_.line[--state_.length] = 0;
    }
    bool WakeUp() {
        if (thread_.told == Told::IsOwner)
            Enter();
        else if (thread_.told == Told::ToLook)
            thread_.at = At::LookWoken;
        return thread_.told != Told::Nothing;
    }
    void Leave() {
        if (thread_.told != Told::Nothing && fault_ != Fault::OverhearsACall) return Unlock(At::Sleep);
        Remove(self_);
        state_.word = WithLine(state_.word, state_.length == 0);
        Unlock(AfterRound());
    }

    void Return(Word next) {
        if ((state_.word & ClosedMark) != 0) ++state_.released;
        state_.word = next;
    }
    void KeepPromise() {
        const Look look = LookAt(state_.word, IdOf(self_), false);
        state_.word = look.next;
        thread_.keeps = look.attempt == Attempt::Taken || look.attempt == Attempt::TakenAbandoned;
        if (thread_.keeps)
            Enter();
        else
            thread_.at = AfterRound();
    }
    void GiveBack() {
        if (thread_.promises && !thread_.keeps) {
            Return(Freed(state_.word, 0));
            const bool comesBack = thread_.rounds > 1 || fault_ == Fault::ForgetsAPromise;
            thread_.at = comesBack ? AfterRound() : At::KeepPromise;
        } else if (HasToCall(state_.word)) {
            if (fault_ == Fault::CallsByAnEarlierLook && state_.length != 0) thread_.called = state_.line[0];
            thread_.at = At::Call;
        } else {
            Return(Freed(state_.word, Abandoned()));
            thread_.at = AfterRound();
        }
    }
    void CallNext() {
        if (thread_.called == kNone && state_.length != 0) thread_.called = state_.line[0];
        if (thread_.called == kNone) {
            Return(Freed(state_.word, Abandoned()));
            return Unlock(AfterRound());
        }
        Remove(thread_.called);
        const unsigned passedOver = state_.threads[thread_.called].passedOver;
        Return(Called(state_.word, Abandoned(), IdOf(thread_.called), passedOver, state_.length == 0));
        thread_.at = At::Tell;
    }
    void Tell() {
        Thread& called = state_.threads[thread_.called];
        called.told = IsHandedOver(called.passedOver) ? Told::IsOwner : Told::ToLook;
        Unlock(AfterRound());
    }
    void CloseAll() {
        if ((state_.word & OwnerMask) == 0) ++state_.released;
        state_.word = Closed(state_.word);
        for (; state_.length != 0; Remove(state_.line[0]))
            state_.threads[state_.line[0]].told = Told::ToLook;
        Unlock(At::Done);
    }

    State& state_;
    const std::uint8_t self_;
    Thread& thread_;
    const Fault fault_;
};

bool AllAre(At at, const State& state) {
    return std::ranges::all_of(state.threads, [at](const Thread& thread) { return thread.at == at; });
}

// Called out of the line, and hasn't looked yet.
bool IsOnItsWay(const Thread& thread) {
    const bool isInLine = thread.at == At::Sleep || thread.at == At::Leave;
    return thread.at == At::LookWoken || (isInLine && thread.told == Told::ToLook);
}

std::string FaultIn(const State& state, bool anyRuns) {
    if (state.inside > 1) return "two owners";
    const bool isClosed = (state.word & ClosedMark) != 0;
    if (!isClosed && std::ranges::count_if(state.threads, IsOnItsWay) > 1) return "a wake-up too many";
    if (!AllAre(At::Done, state)) return anyRuns ? "" : "all sleep";
    if ((state.word & ~(ClosedMark | AbandonedMark | (isClosed ? Waking : 0))) != 0)
        return "not free at the end";
    return state.released == (isClosed ? 1 : 0) ? "" : "a reference too many or too few";
}

// What is wrong in a state that can be reached from there; empty if nothing is.
std::string Search(const State& start, Fault fault, std::size_t& states) {
    std::unordered_set<std::string> seen{start.Key()};
    std::vector<State> open{start};
    std::string found;
    while (!open.empty() && found.empty()) {
        const State state = open.back();
        open.pop_back();
        bool anyRuns = false;
        for (std::uint8_t self = 0; self < kMost; ++self) {
            for (const bool timeOut : {false, true}) {
                State next = state;
                Step step(next, self, fault);
                if (timeOut ? !step.TimeOut() : !step.Go()) continue;
                anyRuns = anyRuns || !timeOut;
                if (seen.insert(next.Key()).second) open.push_back(next);
            }
        }
        found = FaultIn(state, anyRuns);
    }
    states += seen.size();
    return found;
}

// Each thread: does nothing, waits for ever or to a time-out; new to waiting or passed over before; and the
// first of them leaves the mutex behind, closes it or gives it back with a promise, as the second may too.
std::string SearchAll(Fault fault, std::size_t& states) {
    constexpr unsigned kKinds = 5;
    for (unsigned kinds = 0; kinds < kKinds * kKinds * kKinds; ++kinds) {
        for (const unsigned last : {0, 1, 2, 3, 4}) {
            if (last != 4 && kinds / kKinds % kKinds > kinds / kKinds / kKinds)
                continue;  // the same with two names changed
            State start;
            unsigned rest = kinds;
            for (Thread& thread : start.threads) {
                const unsigned kind = rest % kKinds;
                rest /= kKinds;
                if (kind == 0) thread.at = At::Done;
                thread.rounds = 2;
                thread.timesOut = kind % 2 == 0;
                thread.patienceUsed = kind > 2 ? Patience - 1 : 0;
            }
            start.threads[0].abandons = last == 1;
            start.threads[0].closes = last == 2;
            start.threads[0].promises = last >= 3;
            start.threads[1].promises = last == 4;
            if (std::string found = Search(start, fault, states); !found.empty()) return found;
        }
    }
    return "";
}

TEST(MutexModelTest, NoInterleavingLosesTheMutex) {
    std::size_t states = 0;
    EXPECT_EQ(SearchAll(Fault::None, states), "");
    EXPECT_GT(states, 1000000u);
}

TEST(MutexModelTest, TheSearchFindsFaults) {
    for (const Fault fault : {Fault::CallsByAnEarlierLook, Fault::LinesUpByAnEarlierLook,
                              Fault::OverhearsACall, Fault::KeepsWaking, Fault::ForgetsAPromise}) {
        std::size_t states = 0;
        EXPECT_NE(SearchAll(fault, states), "") << static_cast<int>(fault);
    }
}

}  // namespace
