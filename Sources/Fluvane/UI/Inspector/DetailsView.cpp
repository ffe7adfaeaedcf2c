// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Inspector/DetailsView.h"

#include "Fluvane/UI/Inspector/ConnectionLook.h"
#include "Fluvane/UI/Inspector/ConnectionsModel.h"
#include "Fluvane/UI/Inspector/DetailRows.h"
#include "Fluvane/UI/Inspector/Fields.h"
#include "Fluvane/UI/Inspector/Notice.h"
#include "Fluvane/UI/Inspector/PiecesMap.h"
#include "Fluvane/UI/Inspector/SpeedGraph.h"
#include "Fluvane/UI/Models/DownloadsModel.h"
#include "Fluvane/UI/Models/GoneFiles.h"
#include "FluvaneCore/DetailWords.h"
#include "FluvaneCore/Words.h"
#include "Tessivar/Windows/Colors.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QEvent>
#include <QHeaderView>
#include <QLabel>
#include <QTreeView>
#include <QVBoxLayout>

#include <algorithm>
#include <array>
#include <chrono>

namespace fluvane {

using tessivar::marked;

using tessivar::qPhrase;

namespace {

constexpr int swatchHeight = 14;
constexpr const char* mapCaption =
    marked("Each piece comes over its own connection. When one finishes, it takes over half of "
           "the biggest piece left.");

QLabel* heading(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setFont(tessivar::type::heading(label->font()));
    return label;
}

/// A heading and what belongs to it.
QWidget* section(const QString& title, QWidget* parent, std::initializer_list<QWidget*> content) {
    auto* box = new QWidget(parent);
    auto* layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(tessivar::spacing::small);
    layout->addWidget(heading(title, box));
    for (QWidget* widget : content) {
        layout->addWidget(widget);
    }
    return box;
}

std::optional<std::int64_t> placeInLine(const DownloadManager& manager, const Download& download) {
    if (!download.record.state.is<DownloadState::Queued>()) {
        return std::nullopt;
    }
    const auto queue = manager.queue();
    const auto place = std::ranges::find(queue, &download);
    return place == queue.end() ? std::nullopt : std::optional<std::int64_t>(place - queue.begin() + 1);
}

} // namespace

DetailsView::DetailsView(WindowContext& context, SpeedHistory& history, QWidget* parent)
    : QWidget(parent), context_(context), history_(history),
      gone_(GoneFiles::of(context.feed, context.files)), name_(new ElidedLabel(this)),
      line_(new QLabel(this)), notice_(new Notice(context, this)), piecesSection_(pieces()),
      connectionsSection_(connections()), speedSection_(speed()), rows_(new DetailRows(this)) {
    build();
    connect(&gone_, &GoneFiles::changed, this, [this] {
        if (const Download* const download = isVisible() ? context_.manager.download(id_) : nullptr) {
            follow(*download);
        }
    });
}

void DetailsView::build() {
    name_->setObjectName("details-name");
    name_->setFont(tessivar::type::title(name_->font()));
    line_->setObjectName("details-line");
    line_->setTextFormat(Qt::PlainText);
    line_->setWordWrap(true);
    auto* head = new QVBoxLayout;
    head->setSpacing(tessivar::spacing::small);
    head->addWidget(name_);
    head->addWidget(line_);
    head->addWidget(notice_);
    auto* all = new QVBoxLayout(this);
    using tessivar::spacing::margin;
    all->setContentsMargins(margin, margin, margin, margin);
    all->setSpacing(tessivar::spacing::large);
    all->addLayout(head);
    for (QWidget* widget : {piecesSection_, connectionsSection_, speedSection_}) {
        all->addWidget(widget);
    }
    all->addWidget(section(qPhrase("Details"), this, {rows_}));
    all->addStretch();
}

QWidget* DetailsView::pieces() {
    map_ = new PiecesMap;
    piece_ = new QLabel;
    piece_->setObjectName("piece-words");
    piece_->setTextFormat(Qt::PlainText);
    piece_->setWordWrap(true);
    connect(map_, &PiecesMap::toldChanged, this, &DetailsView::tellPiece);
    auto* caption = new tessivar::QuietLabel(qPhrase(mapCaption));
    caption->setObjectName("pieces-caption");
    return section(qPhrase("Pieces"), this, {map_, piece_, caption});
}

QWidget* DetailsView::connections() {
    model_ = new ConnectionsModel(this);
    table_ = new QTreeView;
    table_->setObjectName("connections");
    table_->setAccessibleName(qPhrase("Connections"));
    table_->setModel(model_);
    table_->setRootIsDecorated(false);
    table_->setUniformRowHeights(true);
    table_->setFrameShape(QFrame::NoFrame);
    table_->setSelectionMode(QAbstractItemView::NoSelection);
    table_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    table_->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    table_->setIconSize(connectionLook::swatchSize(swatchHeight));
    table_->setTextElideMode(Qt::ElideRight);
    table_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    table_->viewport()->setAutoFillBackground(false);
    auto* header = table_->header();
    header->setSectionsMovable(false);
    header->setSectionsClickable(false);
    header->setStretchLastSection(false);
    header->setMinimumSectionSize(20);
    header->setSectionResizeMode(ConnectionsModel::Span, QHeaderView::Stretch);
    return section(qPhrase("Connections"), this, {table_});
}

QWidget* DetailsView::speed() {
    graph_ = new SpeedGraph;
    speedWords_ = new tessivar::QuietLabel;
    speedWords_->setObjectName("speed-words");
    return section(qPhrase("Speed"), this, {graph_, speedWords_});
}

void DetailsView::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::FontChange) {
        fitColumns();
    }
}

void DetailsView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    fitColumns();
}

/// Where there is little room, which piece it is matters more than how much of it is done.
void DetailsView::fitColumns() {
    const QFontMetrics font = table_->fontMetrics();
    const int pad = tessivar::spacing::medium + tessivar::spacing::small;
    model_->setLook(palette(), devicePixelRatioF());
    const int number = connectionLook::swatchSize(swatchHeight).width() + pad;
    // Which unit is the widest depends on the language.
    constexpr std::array<std::int64_t, 3> wide = {888'800, 888'800'000, 888'800'000'000};
    const auto widest = [&](auto text) {
        int width = 0;
        for (const auto amount : wide) {
            width = std::max(width, font.horizontalAdvance(QString::fromStdString(text(amount))));
        }
        return width + pad;
    };
    const int connecting = font.horizontalAdvance(qPhrase("connecting")) + pad;
    const auto title = [&](int column) {
        const auto text = model_->headerData(column, Qt::Horizontal, Qt::DisplayRole).toString();
        return table_->header()->fontMetrics().horizontalAdvance(text) + pad;
    };
    const int done =
        std::max(widest([](auto amount) { return words::bytes(amount); }), title(ConnectionsModel::Done));
    const int speed = std::max({widest([](auto amount) { return words::speed(static_cast<double>(amount)); }),
                                connecting, title(ConnectionsModel::Speed)});
    const int span = widest([](auto amount) { return words::span(amount, amount); });
    table_->setColumnWidth(ConnectionsModel::Number, number);
    table_->setColumnWidth(ConnectionsModel::Done, done);
    table_->setColumnWidth(ConnectionsModel::Speed, speed);
    const int room = width() - 2 * tessivar::spacing::margin;
    table_->setColumnHidden(ConnectionsModel::Done, room < number + span + done + speed);
}

/// As high as its rows. Never while the layout is at work, which would not see it.
void DetailsView::fitRows() {
    table_->ensurePolished();
    table_->header()->ensurePolished();
    const int row = std::max(table_->sizeHintForRow(0), swatchHeight);
    const int height = table_->header()->sizeHint().height() + row * model_->rowCount() + 2;
    if (table_->height() != height || table_->minimumHeight() != height) {
        table_->setFixedHeight(height);
    }
}

void DetailsView::follow(const Download& download) {
    id_ = download.id();
    const Date now = std::chrono::system_clock::now();
    followHead(download, now);
    followTransfer(download);
    followSpeed(download);
    rows_->follow(download, context_.settings.config(), now);
    rows_->setGone(gone_.isGone(download));
}

void DetailsView::followHead(const Download& download, Date now) {
    name_->setWhole(QString::fromStdString(words::oneLine(download.record.displayName())));
    notice_->follow(download);
    const DownloadWords words(context_.manager, download, placeInLine(context_.manager, download), now,
                              gone_.isGone(download));
    std::string line = words.line();
    const auto held = download.record.state.is<DownloadState::Queued>()
                          ? context_.manager.placesHeldByRetries()
                          : std::int64_t{0};
    if (held > 0) {
        line += "\n" + words::heldPlaces(held);
    }
    setWords(*line_, QString::fromStdString(line));
    // The sentence is in the notice.
    const auto& state = download.record.state;
    line_->setHidden(!notice_->isHidden() && !state.is<DownloadState::Finished>());
}

void DetailsView::followTransfer(const Download& download) {
    const auto& record = download.record;
    running_.look(download, history_.now());
    const bool hasPieces = !record.pieces.empty() && !record.state.is<DownloadState::Finished>();
    piecesSection_->setVisible(hasPieces);
    if (hasPieces) {
        map_->follow(download, running_.list());
        const auto complete = std::ranges::count_if(record.pieces, &Piece::isComplete);
        allPieces_ =
            QString::fromStdString(words::pieces(record.pieces.size(), static_cast<std::size_t>(complete)));
        tellPiece(map_->told());
    }
    model_->follow(running_.list());
    fitRows();
    connectionsSection_->setVisible(!running_.list().empty());
}

void DetailsView::tellPiece(const QString& words) {
    setWords(*piece_, words.isEmpty() ? allPieces_ : words);
}

void DetailsView::followSpeed(const Download& download) {
    const auto& samples = history_.samples(download.id());
    speedSection_->setVisible(samples.size() > 1);
    if (samples.size() > 1) {
        graph_->follow(samples, download.record.state.usesNetwork());
        setWords(*speedWords_, graph_->accessibleDescription());
    }
}

} // namespace fluvane
