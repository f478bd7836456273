#include <zel/platform/services/image_loads.h>

#include <zel/platform/foundation/notes.h>
#include <zel/platform/images/encoded_image.h>
#include <zel/platform/services/downloads.h>

#include <algorithm>
#include <deque>
#include <exception>
#include <map>
#include <mutex>

namespace zel {

struct ImageLoad::State : std::enable_shared_from_this<State> {
    URL address;
    std::string place; ///< the host and port; empty for files
    std::function<void(Loaded)> completion;
    TaskContext context;

    struct All;
    static All& all();
    void start();
    [[nodiscard]] bool finish(const Ref<const ByteSource>& source) const;
};

struct ImageLoad::State::All {
    static constexpr int most = 8; ///< threads of the pool that may wait here; the others decode meanwhile
    static constexpr int mostAtOnePlace = 2;
    std::mutex mutex;
    std::deque<Ref<State>> waiting;
    int running = 0;
    std::map<std::string, int> places;

    /// The next one that may begin, counted as running; null where none may.
    Ref<State> next()
    {
        const std::scoped_lock lock(mutex);
        const auto mayBegin = [&](const Ref<State>& load) {
            const auto found = places.find(load->place);
            return found == places.end() || found->second < mostAtOnePlace;
        };
        const auto chosen = running < most ? std::find_if(waiting.begin(), waiting.end(), mayBegin) : waiting.end();
        if (chosen == waiting.end())
            return nullptr;
        Ref<State> load = std::move(*chosen);
        waiting.erase(chosen);
        ++running;
        ++places[load->place];
        return load;
    }
    void end(const State& load)
    {
        const std::scoped_lock lock(mutex);
        --running;
        if (const auto found = places.find(load.place); --found->second == 0)
            places.erase(found);
    }
    void startNext()
    {
        while (const Ref<State> load = next())
            load->start();
    }
};

ImageLoad::State::All& ImageLoad::State::all()
{
    static All& instance = *new All; // never released: loads may be under way while the process ends
    return instance;
}

void ImageLoad::State::start()
{
    const TaskContext::Adopt adopted(context);
    openAddress(address, [self = shared_from_this()](const Ref<const ByteSource>& source) {
        const bool isPicture = self->finish(source);
        all().end(*self);
        all().startNext();
        return isPicture;
    });
}

bool ImageLoad::State::finish(const Ref<const ByteSource>& source) const
{
    // What is not held costs something all the same: the source, the facts, a profile.
    constexpr std::size_t least = 16U << 10U;
    try {
        Loaded loaded{.image = makeEncodedImage(source)};
        const bool isPicture = loaded.image != nullptr;
        if (isPicture)
            loaded.bytes = least + source->whole().size();
        if (completion)
            completion(std::move(loaded));
        return isPicture;
    } catch (const std::exception& error) {
        return fail(ZelFailureCode::unreadable, "load", std::string("a load ended early: ") + error.what());
    }
}

Ref<ImageLoad> ImageLoad::begin(const URL& address, std::function<void(Loaded)> completion)
{
    auto state = std::make_shared<State>();
    state->address = address;
    if (const std::string text = address.absoluteString(); !address.isFile()) {
        const std::size_t host = std::min(text.find("//"), text.size());
        state->place = text.substr(0, text.find_first_of("/?#", std::min(host + 2, text.size())));
    }
    state->completion = std::move(completion);
    state->context = TaskContext::capture();
    {
        const std::scoped_lock lock(State::all().mutex);
        State::all().waiting.push_back(state);
    }
    State::all().startNext();
    return Ref<ImageLoad>(new ImageLoad(std::move(state)));
}

void ImageLoad::hurry()
{
    auto& all = State::all();
    const std::scoped_lock lock(all.mutex);
    const auto found = std::find(all.waiting.begin(), all.waiting.end(), state_);
    if (found != all.waiting.end())
        std::rotate(all.waiting.begin(), found, std::next(found));
}

} // namespace zel
