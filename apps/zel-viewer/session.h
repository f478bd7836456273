#pragma once
#include "newest_wins.h"
#include "preview.h"

#include <QObject>

namespace zel::viewer {

/// The picture that is open, and its previews, all made in the background. What is asked for last is what ends up
/// shown.
class Session : public QObject {
    Q_OBJECT
public:
    /// `longestSide`: of the screen, in pixels.
    explicit Session(double longestSide, QObject* parent = nullptr);

    void open(const Place& place); ///< `opened()` follows
    /// `previewMade` follows: at once from the reduced picture where the edits are new, and from the full one where the
    /// screen shows more than the reduced one has.
    void show(const PreviewOrder& order);

    [[nodiscard]] const Opened& current() const { return opened_; }
    [[nodiscard]] bool isBusy() const;

signals:
    void opened();
    void previewMade(const zel::viewer::Preview& preview);
    void busyChanged();

private:
    void make(NewestWins& worker, From from);
    void tell(const Preview& preview, From from, int order);

    double longestSide_;
    Opened opened_;
    PreviewOrder order_;
    int orders_ = 0;      ///< so far
    int fullyShown_ = -1; ///< the last one shown from the full picture
    NewestWins opening_{NewestWins::Older::isStopped};
    NewestWins reduced_{NewestWins::Older::isShown};
    NewestWins full_{NewestWins::Older::isStopped};
};

} // namespace zel::viewer
