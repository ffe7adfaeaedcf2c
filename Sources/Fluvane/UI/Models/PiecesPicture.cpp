// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/PiecesPicture.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace fluvane {

namespace {

/// What the segments that meet in a column come to.
struct Share {
    double filled = 0;
    double arrived = 0;
    bool missing = false;
    double mostOfPiece = 0;
    double mostOfConnection = 0;
};

class Drawing {
public:
    Drawing(PiecesPicture& picture, double size, int columns)
        : picture_(picture), scale_(columns / size), shares_(static_cast<std::size_t>(columns)) {
        picture_.columns.resize(shares_.size());
    }

    /// Offsets become columns as floating-point numbers: no product of them can overflow.
    [[nodiscard]] double column(std::int64_t offset) const {
        return std::clamp(static_cast<double>(offset) * scale_, 0.0, static_cast<double>(shares_.size()));
    }

    void piece(std::size_t index, const Piece& piece, const RunningConnection* connection, double end) {
        const double begin = column(piece.start);
        const double reached =
            std::clamp(column(connection ? connection->reached : piece.next()), begin, end);
        const double from = connection ? std::clamp(column(connection->from), begin, reached) : reached;
        const int number = connection ? connection->number : 0;
        segment(begin, from, [&](Share& share, double width) { share.filled += width; });
        segment(from, reached, [&](Share& share, double width) {
            share.filled += width;
            share.arrived += width;
        });
        if (!piece.isComplete()) {
            missing(reached, end);
        }
        owner(begin, end, index, number);
        if (connection) {
            picture_.heads.push_back({number, reached});
        }
    }

    void border(std::int64_t start) {
        const int at = static_cast<int>(std::lround(column(start)));
        const int last = picture_.borders.empty() ? 0 : picture_.borders.back();
        if (at - last >= PiecesPicture::borderDistance && at < static_cast<int>(shares_.size())) {
            picture_.borders.push_back(at);
        }
    }

    void finish() {
        static constexpr double nearlyFull = 0.95;
        for (std::size_t i = 0; i < shares_.size(); ++i) {
            const Share& share = shares_[i];
            auto& column = picture_.columns[i];
            column.filled = share.missing ? std::min(share.filled, nearlyFull) : share.filled > 0 ? 1 : 0;
            column.arrived = column.connection != 0 && share.arrived * 2 >= share.filled;
        }
        std::ranges::sort(picture_.heads, {}, &PiecesPicture::Head::at);
    }

private:
    /// Calls `add` with each column that the segment touches and the width that it takes of it.
    template <class Add>
    void segment(double begin, double end, const Add& add) {
        const auto first = static_cast<std::size_t>(begin);
        for (std::size_t i = first; i < shares_.size() && static_cast<double>(i) < end; ++i) {
            const double left = std::max(begin, static_cast<double>(i));
            const double width = std::min(end, static_cast<double>(i + 1)) - left;
            if (width > 0) {
                add(shares_[i], width);
            }
        }
    }

    /// At least one column, though what is missing may be less than a floating-point number can tell.
    void missing(double begin, double end) {
        const auto last = static_cast<double>(shares_.size() - 1);
        const double first = std::clamp(std::min(std::floor(begin), std::ceil(end) - 1), 0.0, last);
        shares_[static_cast<std::size_t>(first)].missing = true;
        segment(begin, end, [](Share& share, double) { share.missing = true; });
    }

    /// A connection, however small its piece, stands out among pieces at rest.
    void owner(double begin, double end, std::size_t index, int number) {
        segment(begin, end, [&](Share& share, double width) {
            auto& column = picture_.columns[static_cast<std::size_t>(&share - shares_.data())];
            if (number != 0 && width > share.mostOfConnection) {
                share.mostOfConnection = width;
                column.connection = number;
                column.piece = index;
            } else if (number == 0 && share.mostOfConnection == 0 && width > share.mostOfPiece) {
                share.mostOfPiece = width;
                column.piece = index;
            }
        });
    }

    PiecesPicture& picture_;
    double scale_;
    std::vector<Share> shares_;
};

PiecesPicture filled(int columns, PiecesPicture::Column column) {
    PiecesPicture picture;
    picture.columns.assign(static_cast<std::size_t>(columns), column);
    return picture;
}

/// A stream without a known end: who writes is all that is known.
PiecesPicture stream(const std::vector<RunningConnection>& connections, int columns) {
    const int number = connections.empty() ? 0 : connections.front().number;
    PiecesPicture picture = filled(columns, {.filled = 1, .connection = number, .arrived = number != 0});
    picture.openEnded = true;
    for (const auto& connection : connections) {
        picture.heads.push_back({connection.number, 0});
    }
    return picture;
}

std::map<std::int64_t, const RunningConnection*> byPiece(const std::vector<RunningConnection>& connections) {
    std::map<std::int64_t, const RunningConnection*> result;
    for (const auto& connection : connections) {
        result[connection.start] = &connection;
    }
    return result;
}

} // namespace

PiecesPicture PiecesPicture::make(const std::vector<Piece>& pieces, std::optional<std::int64_t> size,
                                  const std::vector<RunningConnection>& connections, int columns) {
    columns = std::max(columns, 1);
    if (pieces.empty()) {
        return filled(columns, {});
    }
    if (!size && pieces.back().end) {
        size = pieces.back().end;
    }
    if (!size || *size < 0) {
        return stream(connections, columns);
    }
    if (*size == 0) {
        return filled(columns, {.filled = 1});
    }
    PiecesPicture picture;
    Drawing drawing(picture, static_cast<double>(*size), columns);
    const auto busy = byPiece(connections);
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const auto connection = busy.find(pieces[i].start);
        drawing.border(pieces[i].start);
        drawing.piece(i, pieces[i], connection == busy.end() ? nullptr : connection->second,
                      drawing.column(pieces[i].end.value_or(*size)));
    }
    drawing.finish();
    return picture;
}

} // namespace fluvane
