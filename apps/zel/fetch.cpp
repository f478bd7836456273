#include "network_options.h"
#include "pictures.h"

#include <zel/io/remote.h>
#include <zel/platform/foundation/guards.h>

#include <sys/stat.h>

namespace zel::program {
namespace {

constexpr std::string_view examples = R"(Examples:
  zel fetch https://example.org/photo.jpg -o photo.png
  zel fetch 'http://camera.local/shot?size=full' -o shots/now.jpg --transfer-time 10s
  zel fetch https://example.org/a.jpg https://example.org/b.jpg -o pictures/ --max-download 20M
)";

constexpr std::string_view notes =
    R"(Addresses are http:, https: or file:. Ten redirects are followed, none of them from https:
to http:, to a file, or to a machine of a private network that the address itself does not
name. Nothing is kept but the output.
)";

/// The last part of the path, where that can be a file's name.
std::string fileNameOf(const URL& address)
{
    const std::string path = address.path();
    std::string name = path.substr(path.rfind('/') + 1);
    return joinPath({}, name) ? name : "download";
}

Inputs addressesOf(const InputOptions& options)
{
    if (options.words.empty())
        throw UsageError("no address", "zel fetch ADDRESS -o OUTPUT");
    Inputs inputs;
    for (const auto& word : options.words) {
        const URL address = readAddress(word);
        Input input;
        input.name = word;
        input.file = fileNameOf(address);
        struct stat facts = {};
        if (address.isFile() && stat(address.filePath().c_str(), &facts) == 0) {
            input.device = facts.st_dev;
            input.node = facts.st_ino;
        }
        inputs.list.push_back(std::move(input));
    }
    inputs.several = inputs.list.size() > 1;
    return inputs;
}

int run(const Verb& verb, Words words)
{
    PictureOptions options;
    NetworkOptions network;
    Arguments arguments(verb);
    network.declare(arguments);
    arguments.operands(options.inputs.words);
    options.encoding.declare(arguments);
    options.outputs.declare(arguments);
    options.limits.declare(arguments);
    options.reports.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    network.check();
    if (options.outputs.inPlace)
        throw UsageError("an address cannot be changed in place", "-o OUTPUT");

    PictureWork work;
    work.prepare = [&] {
        network.apply();
        return PictureStep([](const Ref<ZelImage>& image) { return image; });
    };
    work.open = [](const Input& input) { return makeZelImage(HttpText{input.name}); };
    work.collect = addressesOf;
    return runPictures(verb, options, work);
}

} // namespace

const Verb fetchVerb = {
    "fetch", "Pictures from addresses", "ADDRESS... -o OUTPUT [flags]", examples, notes, run,
};

} // namespace zel::program
