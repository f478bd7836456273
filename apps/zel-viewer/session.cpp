#include "session.h"

namespace zel::viewer {

Session::Session(double longestSide, QObject* parent) : QObject(parent), longestSide_(longestSide) {}

bool Session::isBusy() const
{
    return opening_.isBusy() || reduced_.isBusy() || full_.isBusy();
}

void Session::open(const Place& place)
{
    reduced_.drop();
    full_.drop();
    opening_.run([this, place, side = longestSide_]() -> NewestWins::Finish {
        return [this, result = viewer::open(place, side)] {
            reduced_.drop();
            full_.drop();
            opened_ = result;
            order_ = {};
            emit opened();
            emit busyChanged();
        };
    });
    emit busyChanged();
}

void Session::show(const PreviewOrder& order)
{
    if (!opened_.picture || order == order_)
        return;
    const bool isFirst = order_.shown == CGSize();
    const bool chainIsNew = isFirst || order.chain != order_.chain;
    order_ = order;
    ++orders_;
    const bool serves = reducedServes(opened_, order);
    if (serves || chainIsNew)
        make(reduced_, From::reduced);
    if (serves)
        full_.drop();
    else
        make(full_, From::full);
    emit busyChanged();
}

void Session::make(NewestWins& worker, From from)
{
    worker.run([this, opened = opened_, order = order_, number = orders_, from]() -> NewestWins::Finish {
        return [this, preview = previewOf(opened, order, from), from, number] { tell(preview, from, number); };
    });
}

void Session::tell(const Preview& preview, From from, int order)
{
    if (from == From::full)
        fullyShown_ = order;
    if (from == From::full || order > fullyShown_)
        emit previewMade(preview);
    emit busyChanged();
}

} // namespace zel::viewer
