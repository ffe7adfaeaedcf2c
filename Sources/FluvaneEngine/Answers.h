// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/DownloadRecord.h"
#include "FluvaneCore/FileName.h"
#include "FluvaneEngine/Platform.h"

#include <optional>
#include <string>
#include <variant>

/// What the head of a server's answer means. Functions of the answer and the record that change nothing.
namespace fluvane::answers {

struct Busy {
    bool halves; ///< The download uses fewer connections from now on.
};
struct LinkExpired {};
struct FileChanged {};
struct Refused {
    std::string sentence; ///< For the user.
};
using Refusal = std::variant<Busy, LinkExpired, FileChanged, Refused>;

enum class Request { probe, piece };

/// Nothing for a status that may be used, 200 or 206.
[[nodiscard]] std::optional<Refusal> refusal(int status, Request request);

/// What a probe's answer says of the file.
struct FileFacts {
    std::optional<std::int64_t> size; ///< Bytes.
    bool resumable = false;           ///< Parts can be had.
};
/// Of a 200 or 206; absent when it is a part that wasn't asked for.
[[nodiscard]] std::optional<FileFacts> fileFacts(const TransferResponse& response);

/// A refused range of nothing, as if the empty file had been sent; any other answer as it is.
[[nodiscard]] TransferResponse withEmptyFile(const TransferResponse& response);

/// The name that the answer's file gets where nobody has given it one.
[[nodiscard]] std::string suggestedName(const TransferResponse& response,
                                        const fileName::TypeRegistry& types);
/// Whether what the link led to is a web page that nobody asked for; `size` is the file's, in bytes.
[[nodiscard]] bool opensPage(const TransferResponse& response, const URL& link,
                             std::optional<std::int64_t> size);

enum class Part { fits, isWrong, ofAnotherFile };
/// Of a 206 to a request for what is left of the piece.
[[nodiscard]] Part part(const TransferResponse& response, const DownloadRecord& record, const Piece& piece);

/// Of a 206 of another server for such a request.
enum class Mirror { same, mayBeSame, isWrong, ofAnotherFile };
[[nodiscard]] Mirror mirror(const TransferResponse& response, const DownloadRecord& record,
                            std::int64_t from);

/// Whether a web page came instead of the file, as from a network that one has to sign in to.
[[nodiscard]] bool isPage(const TransferResponse& response, const DownloadRecord& record);

/// Whether a 416 to a request for what comes after these bytes says that they are all.
[[nodiscard]] bool saysAllCame(const TransferResponse& response, std::int64_t bytes);

/// Of a 200 to a request for a part.
enum class WholeFile { ofAnotherFile, same, mayBeSame };
[[nodiscard]] WholeFile wholeFile(const TransferResponse& response, const DownloadRecord& record);

} // namespace fluvane::answers
