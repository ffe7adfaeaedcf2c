#include "Fluvane/UI/Inspector/DownloadDialog.h"

namespace fluvane {

DownloadDialog::DownloadDialog(WindowContext& context, std::int64_t id) : context_(context), id_(id) {
    setAttribute(Qt::WA_DeleteOnClose);
    setModal(false);
    connect(&context.feed, &ListFeed::changed, this, &DownloadDialog::follow);
}

void DownloadDialog::follow() {
    const Download* const asked = download();
    if (!asked || !stillApplies(*asked)) {
        close();
    } else {
        refresh(*asked);
    }
}

} // namespace fluvane
