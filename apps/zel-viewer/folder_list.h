#pragma once
#include <QString>
#include <QStringList>

namespace zel::viewer {

/// Whether a name comes before another where numbers count as numbers: "img2" before "img10"; case decides last.
bool comesBefore(const QString& one, const QString& other);

/// The pictures and documents of a folder, by name, and where among them a person is.
class FolderList {
public:
    FolderList() = default;
    /// Around a file, which is on the list whatever its name; or of a folder, at its first picture.
    explicit FolderList(const QString& fileOrFolder);

    [[nodiscard]] bool isEmpty() const { return paths_.isEmpty(); }
    [[nodiscard]] int size() const { return static_cast<int>(paths_.size()); }
    [[nodiscard]] int place() const { return place_; } ///< from 0
    [[nodiscard]] QString current() const { return at(place_); }
    [[nodiscard]] QString at(int place) const; ///< a path; empty outside the list
    /// False, and nothing moves, where the list ends before.
    bool moveTo(int place);

private:
    QStringList paths_;
    int place_ = 0;
};

} // namespace zel::viewer
