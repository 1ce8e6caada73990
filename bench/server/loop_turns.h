// How long the turns of the server's loop take, told by the library that the loop is made of: this
// is what BOOST_ASIO_CUSTOM_HANDLER_TRACKING names in the build of the server that is measured, and
// in no other.
//
// A turn is what the thread does from the end of one handler to the end of the next, the reading of
// a socket that precedes it included; its time is the processor's for that thread, so that it does
// not matter who else is at work on the machine. Where the thread had to wait for something other
// than a socket, a lock for instance, the turn counts as one that slept. A round is all turns
// between two looks at the sockets: nobody's request waits longer before it is seen.
#pragma once

#include <array>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

namespace kivolo::bench {

class LoopTurns
{
public:
    /// In the file that KIVOLO_LOOP_TURNS names, where the benchmark reads it and sets it to zero.
    struct Record
    {
        std::uint64_t turns = 0;
        std::uint64_t longestTurn = 0; ///< Nanoseconds, as all of these.
        std::uint64_t longestRound = 0;
        std::uint64_t slept = 0;        ///< How many turns had to wait for something.
        std::uint64_t longestSlept = 0; ///< By the clock, not by the processor.
        std::array<char, 32> operation; ///< What the longest turn's handler had waited for.
    };

    /// Of the thread that runs the loop, which is the first.
    static LoopTurns *ofThisThread()
    {
        static thread_local const bool first = ::gettid() == ::getpid();
        static LoopTurns turns;
        return first && turns.record_ ? &turns : nullptr;
    }

    void looked()
    {
        if (!turnsSinceLook_)
            return;
        const std::uint64_t now = time(CLOCK_THREAD_CPUTIME_ID);
        if (now - look_ > record_->longestRound)
            record_->longestRound = now - look_;
        look_ = now;
        turnsSinceLook_ = 0;
    }
    void began()
    {
        begin_ = time(CLOCK_MONOTONIC);
        sleeps_ = sleeps();
    }
    void ended(const char *operation)
    {
        const std::uint64_t now = time(CLOCK_THREAD_CPUTIME_ID);
        ++turnsSinceLook_;
        ++record_->turns;
        if (now - end_ > record_->longestTurn) {
            record_->longestTurn = now - end_;
            for (std::size_t i = 0; i + 1 < record_->operation.size(); ++i)
                if ((record_->operation[i] = *operation))
                    ++operation;
        }
        end_ = now;
        if (sleeps() == sleeps_)
            return;
        const std::uint64_t took = time(CLOCK_MONOTONIC) - begin_;
        ++record_->slept;
        if (took > record_->longestSlept)
            record_->longestSlept = took;
    }

private:
    LoopTurns()
    {
        const char *path = std::getenv("KIVOLO_LOOP_TURNS");
        const int file = path ? ::open(path, O_RDWR | O_CLOEXEC) : -1;
        if (file < 0)
            return;
        void *memory = ::mmap(nullptr, sizeof(Record), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        ::close(file);
        if (memory != MAP_FAILED)
            record_ = static_cast<Record *>(memory);
    }

    static std::uint64_t time(clockid_t clock)
    {
        timespec now = {};
        ::clock_gettime(clock, &now);
        return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000 +
               static_cast<std::uint64_t>(now.tv_nsec);
    }
    static long sleeps()
    {
        rusage usage = {};
        ::getrusage(RUSAGE_THREAD, &usage);
        return usage.ru_nvcsw;
    }

    Record *record_ = nullptr;
    std::uint64_t look_ = 0;
    std::uint64_t begin_ = 0;
    std::uint64_t end_ = 0;
    long sleeps_ = 0;
    int turnsSinceLook_ = 0;
};

struct TrackedHandler
{
    const char *kindOfOperation = "";
};

class Completion
{
public:
    explicit Completion(const TrackedHandler &handler)
        : operation_(handler.kindOfOperation)
    {}
    ~Completion() { end(); }
    template<typename... Results>
    void begin(const Results &...)
    {
        turns_ = LoopTurns::ofThisThread();
        if (turns_)
            turns_->began();
    }
    void end()
    {
        if (turns_)
            turns_->ended(operation_);
        turns_ = nullptr;
    }

private:
    const char *operation_;
    LoopTurns *turns_ = nullptr;
};

inline void created(boost::asio::execution_context &, TrackedHandler &handler, const char *, void *,
                    std::uintmax_t, const char *operation)
{
    handler.kindOfOperation = operation;
}

template<typename... Arguments>
void looked(const Arguments &...)
{
    if (LoopTurns *turns = LoopTurns::ofThisThread())
        turns->looked();
}

} // namespace kivolo::bench

#define BOOST_ASIO_INHERIT_TRACKED_HANDLER : public kivolo::bench::TrackedHandler
#define BOOST_ASIO_ALSO_INHERIT_TRACKED_HANDLER , public kivolo::bench::TrackedHandler
#define BOOST_ASIO_HANDLER_TRACKING_INIT (void)0
#define BOOST_ASIO_HANDLER_LOCATION(args) (void)0
#define BOOST_ASIO_HANDLER_CREATION(args) kivolo::bench::created args
#define BOOST_ASIO_HANDLER_COMPLETION(args) kivolo::bench::Completion measured args
#define BOOST_ASIO_HANDLER_INVOCATION_BEGIN(args) measured.begin args
#define BOOST_ASIO_HANDLER_INVOCATION_END measured.end()
#define BOOST_ASIO_HANDLER_OPERATION(args) (void)0
#define BOOST_ASIO_HANDLER_REACTOR_REGISTRATION(args) (void)0
#define BOOST_ASIO_HANDLER_REACTOR_DEREGISTRATION(args) (void)0
#define BOOST_ASIO_HANDLER_REACTOR_READ_EVENT 1
#define BOOST_ASIO_HANDLER_REACTOR_WRITE_EVENT 2
#define BOOST_ASIO_HANDLER_REACTOR_ERROR_EVENT 4
#define BOOST_ASIO_HANDLER_REACTOR_EVENTS(args) kivolo::bench::looked args
#define BOOST_ASIO_HANDLER_REACTOR_OPERATION(args) (void)0
