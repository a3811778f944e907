#include "StringBoxes.h"

#include <pthread.h>

namespace qz::variant {

namespace {

#ifdef __SANITIZE_ADDRESS__  // g++
constexpr bool kIsUseAfterTheEndSought = true;
#elif defined(__has_feature)  // clang
constexpr bool kIsUseAfterTheEndSought = __has_feature(address_sanitizer);
#else
constexpr bool kIsUseAfterTheEndSought = false;
#endif

// The cells of a usual batch of a table, in three quarters of a megabyte.
constexpr unsigned kMostFreeBoxes = kIsUseAfterTheEndSought ? 0 : 16384;

// What a box is while nobody has it.
struct FreeBox {
    FreeBox* next;
};

// Without a constructor and a destructor, so that it may be used from the first to the last moment
// of a thread.
struct FreeBoxes {
    FreeBox* first;
    unsigned count;
    bool isWatched;  // whether they will be freed when the thread ends
};

constinit thread_local FreeBoxes tFreeBoxes [[gnu::tls_model("initial-exec")]] = {};

FreeBox* popBox(FreeBoxes& boxes)
{
    --boxes.count;
    return std::exchange(boxes.first, boxes.first->next);
}

void freeBoxes(void* threadBoxes)
{
    auto& boxes = *static_cast<FreeBoxes*>(threadBoxes);
    while (boxes.first != nullptr)
        ::operator delete(popBox(boxes));
    boxes.isWatched = false;
}

// A key of the system's, whose clean-up may be asked for without an allocation.
class ThreadEnd {
public:
    ThreadEnd() : mIsMade(::pthread_key_create(&mKey, freeBoxes) == 0) {}
    // No thread may come here when the library is unloaded.
    ~ThreadEnd()
    {
        if (mIsMade) ::pthread_key_delete(mKey);
    }
    ThreadEnd(const ThreadEnd&) = delete;
    ThreadEnd& operator=(const ThreadEnd&) = delete;

    bool watch(FreeBoxes& boxes) const
    {
        return mIsMade && ::pthread_setspecific(mKey, &boxes) == 0;
    }

private:
    pthread_key_t mKey{};
    bool mIsMade;
};

bool watchThreadEnd(FreeBoxes& boxes)
{
    static const ThreadEnd threadEnd;
    boxes.isWatched = threadEnd.watch(boxes);
    return boxes.isWatched;
}

}  // namespace

void* takeStringBox()
{
    FreeBoxes& boxes = tFreeBoxes;
    if (boxes.first == nullptr) return ::operator new(sizeof(std::string));
    return popBox(boxes);
}

void giveStringBox(void* box) noexcept
{
    FreeBoxes& boxes = tFreeBoxes;
    if (boxes.count >= kMostFreeBoxes || !(boxes.isWatched || watchThreadEnd(boxes))) {
        ::operator delete(box);
        return;
    }
    boxes.first = ::new (box) FreeBox{boxes.first};
    ++boxes.count;
}

}  // namespace qz::variant
