#include "rows_model.h"

#include <QIcon>

#include <algorithm>

void RowsModel::setRows(std::vector<Row> rows)
{
    const bool areTheSame = std::equal(rows.begin(), rows.end(), rows_.begin(), rows_.end(),
                                       [](const Row& one, const Row& other) { return one.id == other.id; });
    if (areTheSame) {
        rows_ = std::move(rows);
        if (!rows_.empty())
            emit dataChanged(index(0), index(static_cast<int>(rows_.size()) - 1));
        return;
    }
    beginResetModel();
    rows_ = std::move(rows);
    endResetModel();
}

QModelIndex RowsModel::indexOf(const std::string& id) const
{
    const auto found = std::find_if(rows_.begin(), rows_.end(), [&](const Row& row) { return row.id == id; });
    return found == rows_.end() ? QModelIndex() : index(static_cast<int>(found - rows_.begin()));
}

std::string RowsModel::idAt(const QModelIndex& index) const
{
    return index.isValid() ? rows_[static_cast<std::size_t>(index.row())].id : std::string();
}

int RowsModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QVariant RowsModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid())
        return {};
    const Row& row = rows_[static_cast<std::size_t>(index.row())];
    if (role == Qt::DisplayRole || role == Qt::EditRole)
        return row.text;
    if (role != Qt::DecorationRole || row.picture.isNull())
        return {};
    QIcon icon(row.picture);
    icon.addPixmap(row.picture, QIcon::Selected); // the colour of the selection is for the row, not for the picture
    return icon;
}

bool RowsModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (!index.isValid() || role != Qt::EditRole)
        return false;
    emit renamed(idAt(index), value.toString());
    return true;
}

Qt::ItemFlags RowsModel::flags(const QModelIndex& index) const
{
    const Qt::ItemFlags usual = QAbstractListModel::flags(index);
    const bool canRename = index.isValid() && rows_[static_cast<std::size_t>(index.row())].canRename;
    return canRename ? usual | Qt::ItemIsEditable : usual;
}
