#pragma once
#include <QAbstractListModel>
#include <QPixmap>

#include <string>
#include <vector>

/// Compositions or layers as rows of a list. Rows keep their editors and their place while they stay the same ones.
class RowsModel : public QAbstractListModel {
    Q_OBJECT
public:
    struct Row {
        std::string id;
        QString text;
        QPixmap picture = {};
        bool canRename = true;
    };
    using QAbstractListModel::QAbstractListModel;

    void setRows(std::vector<Row> rows);
    /// The index is not valid where there is none.
    QModelIndex indexOf(const std::string& id) const;
    std::string idAt(const QModelIndex& index) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

signals:
    void renamed(const std::string& id, const QString& text);

private:
    std::vector<Row> rows_;
};
