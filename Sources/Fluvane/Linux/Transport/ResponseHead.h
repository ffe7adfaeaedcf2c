// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Platform.h"

#include <cstddef>
#include <string_view>

namespace fluvane {

/// Reads the heads of an answer line by line. One request may be answered by several: interim answers (1xx)
/// and redirects have heads of their own, and trailers come after the body. Only the final one counts.
class ResponseHead {
public:
    enum class Step {
        more,     ///< Go on reading.
        redirect, ///< A head that sends us elsewhere is complete.
        final,    ///< The final head is complete: said once.
        unusable, ///< More lines than any honest server sends, or two lengths of one body.
    };

    /// One line as it was sent, its line break included.
    [[nodiscard]] Step add(std::string_view line);

    /// The final head wasn't the last one: the request is made again.
    void startOver() { final_ = false; }

    [[nodiscard]] bool isFinal() const { return final_; }
    [[nodiscard]] int status() const { return status_; }
    /// Names and values as sent, without white space around them.
    [[nodiscard]] const TransferResponse::Headers& headers() const { return headers_; }

private:
    void startHead(std::string_view statusLine);
    [[nodiscard]] Step addField(std::string_view line);
    [[nodiscard]] bool contradictsItself() const;
    [[nodiscard]] Step endHead();

    std::size_t total_ = 0;
    bool inHead_ = false;
    bool leadsElsewhere_ = false; ///< A Location with something in it.
    bool final_ = false;
    int status_ = 0;
    TransferResponse::Headers headers_;
};

} // namespace fluvane
