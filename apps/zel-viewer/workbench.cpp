#include "workbench.h"

#include "canvas.h"
#include "edit_panel.h"

#include <algorithm>

namespace zel::viewer {

Workbench::Workbench(Session& session, Canvas& canvas, EditPanel& panel, QObject* parent)
    : QObject(parent), session_(session), canvas_(canvas), panel_(panel)
{
    connect(&session, &Session::opened, this, &Workbench::begin);
    connect(&session, &Session::previewMade, this, &Workbench::present);
    connect(&canvas, &Canvas::zoomChanged, this, &Workbench::refresh);
    connect(&panel, &EditPanel::edited, this, &Workbench::edit);
    connect(&panel, &EditPanel::cropWanted, this, &Workbench::beginCrop);
    connect(&panel, &EditPanel::cropEnded, this, &Workbench::endCrop);
    connect(&panel, &EditPanel::ratioChosen, this, &Workbench::setCropRatio);
    connect(&panel, &EditPanel::resetWanted, this, &Workbench::reset);
}

void Workbench::begin()
{
    endCrop(false);
    history_ = {};
    panel_.setChain({});
    panel_.setEnabled(hasPicture());
    if (hasPicture())
        canvas_.fit(); // and so refreshed
    else
        canvas_.setMessage(session_.current().message);
}

void Workbench::refresh()
{
    if (!hasPicture())
        return;
    EditChain chain = history_.now();
    if (isCropping())
        chain.crop.reset(); // all of the picture lies under the frame
    const CGSize size = editedSize(chain, session_.current().picture->size);
    const CGSize shown = canvas_.shownSizeOf(size);
    session_.show({chain, {std::min(shown.width, size.width), std::min(shown.height, size.height)}});
}

void Workbench::present(const Preview& preview)
{
    canvas_.setPreview(preview);
    emit shown(preview);
}

void Workbench::edit(const EditChain& chain, std::string_view name)
{
    if (!hasPicture())
        return;
    if (chain.quarterTurns != history_.now().quarterTurns)
        endCrop(false); // the frame would lie across
    history_.change(chain, name);
    panel_.setChain(history_.now());
    refresh();
}

void Workbench::turn(int quarterTurnsClockwise)
{
    edit(turned(history_.now(), quarterTurnsClockwise), "");
}

void Workbench::straightenBy(double degrees)
{
    EditChain chain = history_.now();
    chain.straightening = std::clamp(chain.straightening + degrees, -15.0, 15.0);
    edit(chain, "straighten");
}

void Workbench::exposeBy(double stops)
{
    EditChain chain = history_.now();
    chain.exposure = std::clamp(chain.exposure + stops, -3.0, 3.0);
    edit(chain, "expose");
}

void Workbench::undo()
{
    endCrop(false);
    history_.undo();
    panel_.setChain(history_.now());
    refresh();
}

void Workbench::redo()
{
    endCrop(false);
    history_.redo();
    panel_.setChain(history_.now());
    refresh();
}

void Workbench::reset()
{
    endCrop(false);
    edit({}, "");
}

void Workbench::beginCrop()
{
    if (!hasPicture() || isCropping())
        return;
    const CGSize whole = sizeBeforeCrop(history_.now(), session_.current().picture->size);
    cropping_.emplace(whole, history_.now().crop);
    canvas_.fit();
    canvas_.setTool(&*cropping_);
    panel_.setCropping(true);
    refresh();
}

void Workbench::endCrop(bool isApplied)
{
    if (!isCropping())
        return;
    EditChain chain = history_.now();
    if (isApplied)
        chain.crop = cropping_->frame().part();
    canvas_.setTool(nullptr);
    cropping_.reset();
    panel_.setCropping(false);
    history_.change(chain, "");
    refresh();
}

void Workbench::setCropRatio(std::optional<double> ratio)
{
    if (!isCropping())
        return;
    cropping_->frame().setRatio(ratio);
    canvas_.update();
}

} // namespace zel::viewer
