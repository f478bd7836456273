#pragma once
#include <zel/platform/foundation/url.h>

#include <functional>
#include <map>
#include <mutex>

// How what is saved persists: a text in a file of its own, `Folders::data()`/<type>.json, and named copies of it in
// the folder `Folders::data()`/<type>/. Whatever kills the process, the file is a saved text, whole.
namespace zel {

/// Empty where a text is a document, else why it is none.
using DocumentCheck = std::function<std::string(std::string_view)>;

/// The document of a type. All that name the same file share one object. Any thread.
///
/// Beside `x.json` stands `x.json.bak`, the last text that is known to be on the disk: saving writes a file that the
/// system brings there in its own time, the background follows within a second and then renews the copy. So a power
/// failure, too, costs no more than a second. What is no document is renamed to `x.json.damaged-1`, -2, …, never
/// overwritten.
class StoredDocument : public std::enable_shared_from_this<StoredDocument> {
public:
    /// Null, with the reason noted, where there is no home for documents.
    static Ref<StoredDocument> ofType(const std::string& type, const DocumentCheck& check);

    StoredDocument(URL file, DocumentCheck check);

    /// Replaces the file in one step; does nothing where it holds that text already. What another process has written
    /// meanwhile becomes the copy, with a warning. False, with the reason noted, where the file is as it was.
    bool save(std::string text);
    /// The last saved text; absent where nothing was saved. Where the file is damaged, which is noted as a failure, or
    /// gone, the copy.
    std::optional<std::string> load();
    /// On return the last saved text is on the disk.
    void flush();

private:
    /// Tells whether the file is still the one that was written or read here.
    struct Identity {
        std::uint64_t device = 0, number = 0;
        std::int64_t size = -1, seconds = 0, nanoseconds = 0;
        friend bool operator==(const Identity&, const Identity&) = default;
    };

    [[nodiscard]] std::optional<Identity> look() const;
    bool makeWayFor(const std::optional<Identity>& standing);
    void keepCopy(const std::string& text);
    void syncSoon();

    const URL file_, copy_;
    const DocumentCheck check_;
    std::mutex mutex_;
    std::optional<std::string> text_; ///< what the file holds, as far as we know
    Identity identity_;
    bool copyStands_ = false;
    bool unsynced_ = false;
    bool syncIsComing_ = false;
    std::mutex flushing_;
};

/// Copies of a type's document by name.
class NamedDocuments {
public:
    NamedDocuments(std::string type, DocumentCheck check);
    /// Replaces what has the name, but sets aside what is no document. False, with the reason noted, where nothing is
    /// saved: a name that cannot be a file's, a full disk.
    bool save(const std::string& name, const std::string& text) const;
    /// What is no document is left out, and noted.
    [[nodiscard]] std::map<std::string, std::string> all() const;
    void remove(const std::string& name) const;

private:
    [[nodiscard]] std::optional<std::string> pathOf(const std::string& name, std::string_view operation) const;

    const std::string folder_; ///< empty: there is none
    const DocumentCheck check_;
};

} // namespace zel
