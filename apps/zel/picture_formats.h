#pragma once
#include <zel/platform/foundation/ref.h>

#include <vector>

namespace zel::program {

/// A format that pictures are written in.
enum class Format { jpeg, png, tiff, heif, avif, pnm };

/// "jpeg", "png", "tiff", "heif", "avif", "pnm".
std::string_view formatName(Format format);
/// What a name without an extension gets: "jpg", "png", "tif", "heic", "avif", "ppm".
std::string_view usualExtension(Format format);
/// The format that a person calls so: "jpg", "JPEG", "tif"; absent where it is none that can be written.
std::optional<Format> formatNamed(std::string_view name);
/// The format behind a file's extension ("photo.JPG", with or without folders); absent where there is none we write.
std::optional<Format> formatOfFile(std::string_view file);
/// The names of all, jpeg first.
std::vector<std::string> writableFormatNames();
/// "jpeg, png, tiff, heif, avif, pnm", for messages.
std::string writableFormats();

/// True for names that end as pictures' names do, of every format that can be read.
bool hasPictureExtension(std::string_view file);
/// The extension of a name, without the point: "JPG"; empty where there is none.
std::string_view extensionOf(std::string_view file);
/// The name without folders and extension: "photo".
std::string_view stemOf(std::string_view file);

} // namespace zel::program
