// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Planner.h"

#include "FluvaneCore/CheckedMath.h"

#include <algorithm>

namespace fluvane::planner {

namespace {

std::int64_t alignedDown(std::int64_t offset) {
    return offset - offset % alignment;
}

std::int64_t pieceCount(std::int64_t size, int connections, std::int64_t minimum) {
    if (minimum > size) {
        return 1;
    }
    return std::min<std::int64_t>(size / std::max<std::int64_t>(minimum, 1), std::max(connections, 1));
}

/// Where the piece from `start` on ends when the even boundary would be `raw`: aligned, unless the piece
/// would be empty then.
std::int64_t boundary(std::int64_t start, std::int64_t raw) {
    const std::int64_t aligned = alignedDown(raw);
    return aligned > start ? aligned : raw;
}

std::optional<IdlePiece> firstIdle(const std::vector<Piece>& pieces, const Busy& busy) {
    std::optional<IdlePiece> first;
    for (const Piece& piece : pieces) {
        const bool isIdle = !busy.contains(piece.start) && !piece.isComplete();
        if (isIdle && (!first || piece.start < first->start)) {
            first = IdlePiece{piece.start};
        }
    }
    return first;
}

struct Candidate {
    std::int64_t start;
    std::int64_t position;
    std::int64_t left;
};

std::optional<Candidate> biggestBusy(const std::vector<Piece>& pieces, const Busy& busy) {
    std::optional<Candidate> biggest;
    for (const Piece& piece : pieces) {
        const auto reached = busy.find(piece.start);
        if (reached == busy.end() || !piece.end) {
            continue;
        }
        const std::int64_t position = std::max(reached->second, piece.next());
        const std::int64_t left = checkedSubtract(*piece.end, position);
        if (left >= 1 && (!biggest || left > biggest->left)) {
            biggest = Candidate{piece.start, position, left};
        }
    }
    return biggest;
}

std::int64_t splitPoint(const Candidate& candidate, std::int64_t minimum) {
    const std::int64_t middle = checkedAdd(candidate.position, candidate.left / 2);
    const std::int64_t aligned = alignedDown(middle);
    return checkedSubtract(aligned, candidate.position) < minimum ? middle : aligned;
}

} // namespace

std::vector<Piece> split(std::int64_t size, int connections, std::int64_t minimum) {
    if (size < 1) {
        return {Piece{0, 0, 0}};
    }
    const std::int64_t count = pieceCount(size, connections, minimum);
    std::vector<Piece> pieces;
    pieces.reserve(static_cast<std::size_t>(count));
    std::int64_t start = 0;
    for (std::int64_t i = 0; i < count; ++i) {
        const bool isLast = i == count - 1;
        const std::int64_t end = isLast ? size : boundary(start, checkedMultiply(size, i + 1) / count);
        pieces.push_back(Piece{start, end, 0});
        start = end;
    }
    return pieces;
}

std::optional<Work> nextWork(const std::vector<Piece>& pieces, const Busy& busy, std::int64_t minimum,
                             std::optional<std::int64_t> stride) {
    if (const auto idle = firstIdle(pieces, busy)) {
        return *idle;
    }
    const auto candidate = biggestBusy(pieces, busy);
    const std::int64_t least = std::max<std::int64_t>(minimum, 1);
    // Half of an odd count is rounded down, so the first half decides.
    if (!candidate || candidate->left / 2 < least) {
        return std::nullopt;
    }
    const auto middle = splitPoint(*candidate, least);
    const auto latest = stride ? alignedDown(checkedAdd(candidate->position, *stride)) : middle;
    return Split{candidate->start, std::min(middle, latest)};
}

void joinComplete(std::vector<Piece>& pieces, const Busy& busy) {
    const auto isDone = [&](const Piece& piece) { return piece.isComplete() && !busy.contains(piece.start); };
    std::size_t last = 0;
    for (std::size_t next = 1; next < pieces.size(); ++next) {
        if (isDone(pieces[last]) && isDone(pieces[next])) {
            pieces[last].end = pieces[next].end;
            pieces[last].setDone(checkedSubtract(*pieces[last].end, pieces[last].start));
        } else {
            pieces[++last] = pieces[next];
        }
    }
    pieces.resize(std::min(pieces.size(), last + 1));
}

} // namespace fluvane::planner
