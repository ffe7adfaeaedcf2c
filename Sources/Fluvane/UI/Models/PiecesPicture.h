// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Models/RunningConnections.h"
#include "FluvaneCore/Piece.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace fluvane {

/// A bar of a whole file, column by column, whatever the file's size and however many its pieces. Made anew
/// for every look: it takes a time that grows with the pieces and the columns, each counted once.
struct PiecesPicture {
    /// What is drawn for one column's share of the file. A column is never whole while a byte of it is
    /// missing.
    struct Column {
        double filled = 0;     ///< How much of it is there, 0 to 1.
        int connection = 0;    ///< Whose piece it is now; 0: nobody's.
        bool arrived = false;  ///< What is there came over that connection, rather than before it.
        std::size_t piece = 0; ///< By its place in the list; of several the most telling.
        friend bool operator==(const Column&, const Column&) = default;
    };
    /// How far a connection has got, in columns from the left.
    struct Head {
        int connection = 0;
        double at = 0;
        friend bool operator==(const Head&, const Head&) = default;
    };

    std::vector<Column> columns;
    std::vector<int> borders; ///< Columns at which a piece begins, save the first; none too near another.
    std::vector<Head> heads;  ///< From left to right.
    /// Nobody knows where the file ends: columns and heads say who writes, but not how far it has got.
    bool openEnded = false;

    /// Borders are at least this many columns apart, or they would hide what is between them.
    static constexpr int borderDistance = 4;

    [[nodiscard]] static PiecesPicture make(const std::vector<Piece>& pieces,
                                            std::optional<std::int64_t> size,
                                            const std::vector<RunningConnection>& connections, int columns);
};

} // namespace fluvane
