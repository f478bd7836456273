#pragma once
#include "exporting.h"

#include <QObject>

#include <memory>

namespace zel::viewer {

/// One export at a time, in the background.
class ExportJob : public QObject {
    Q_OBJECT
public:
    explicit ExportJob(QObject* parent = nullptr);
    ~ExportJob() override; ///< cancels

    void start(const Ref<ZelImage>& picture, const ExportOrder& order); ///< `ended` follows; nothing where one runs
    void cancel();
    [[nodiscard]] bool isRunning() const { return running_ != nullptr; }

signals:
    void progressed(int percent);
    void ended(const zel::viewer::ExportResult& result);

private:
    struct Running;
    std::shared_ptr<Running> running_;
};

} // namespace zel::viewer
