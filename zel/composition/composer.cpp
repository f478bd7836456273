#include <zel/composition/composer.h>

#include <zel/platform/foundation/identifiers.h>
#include <zel/platform/foundation/replace_text.h>

namespace zel {
namespace {

void replaceIn(ZelComposer& composer, const ZelComposer::SearchAndReplace& pair)
{
    for (ZelComposer::Layer& layer : composer.layerList)
        layer.text.text = replacedIgnoringCase(layer.text.text, pair.search, pair.replace);
}

} // namespace

ZelComposer::Layer::Layer() : id(ZelId::newId()) {}

ZelComposer::ZelComposer() : id(ZelId::newId()) {}

ZelComposer ZelComposer::composer(With pair) const
{
    ZelComposer copy = *this;
    replaceIn(copy, pair.with);
    return copy;
}

ZelComposer ZelComposer::composer(WithAll pairs) const
{
    ZelComposer copy = *this;
    for (const SearchAndReplace& pair : pairs.with)
        replaceIn(copy, pair);
    return copy;
}

CGFloat normalize(CGFloat value, NormalizeTo size)
{
    return value / size.to.width;
}
CGPoint normalize(CGPoint point, NormalizeTo size)
{
    return point / size.to.width;
}
CGFloat deNormalize(CGFloat value, NormalizeTo size)
{
    return value * size.to.width;
}
CGPoint deNormalize(CGPoint point, NormalizeTo size)
{
    return point * size.to.width;
}

} // namespace zel
