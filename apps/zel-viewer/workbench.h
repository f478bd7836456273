#pragma once
#include "crop_tool.h"
#include "edit_history.h"
#include "session.h"

namespace zel::viewer {

class Canvas;
class EditPanel;

/// The picture that is open and its edits: keeps session, canvas and panel in step.
class Workbench : public QObject {
    Q_OBJECT
public:
    Workbench(Session& session, Canvas& canvas, EditPanel& panel, QObject* parent = nullptr);

    [[nodiscard]] const EditChain& edits() const { return history_.now(); }
    [[nodiscard]] bool hasPicture() const { return session_.current().picture != nullptr; }
    /// Changes of one name that follow one another are one step for `undo`; nameless ones never are.
    void edit(const EditChain& chain, std::string_view name);
    void turn(int quarterTurnsClockwise);
    void straightenBy(double degrees);
    void exposeBy(double stops);
    void undo();
    void redo();
    void reset();

    void beginCrop();
    void endCrop(bool isApplied);
    void setCropRatio(std::optional<double> ratio);
    [[nodiscard]] bool isCropping() const { return cropping_.has_value(); }

signals:
    void shown(const zel::viewer::Preview& preview);

private:
    void begin();   // another picture
    void refresh(); // shows the edits as they are
    void present(const Preview& preview);

    Session& session_;
    Canvas& canvas_;
    EditPanel& panel_;
    EditHistory history_;
    std::optional<CropTool> cropping_;
};

} // namespace zel::viewer
