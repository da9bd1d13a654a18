#include "board_widget.h"

#include <QDrag>
#include <QDragEnterEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>

#include "chess/board.h"
#include "platform/crash_handler.h"

namespace ostravel::gui {

namespace {

const QColor kLight(240, 217, 181);
const QColor kDark(181, 136, 99);
const uint8_t kPalette[12] = {WK, WQ, WR, WB, WN, WP, BK, BQ, BR, BB, BN, BP};

// Offset of a kind within the Unicode chess block (king first).
int GlyphIndex(uint8_t kind) {
  switch (kind) {
    case 1:
      return 0;
    case 12:
      return 1;
    case 8:
      return 2;
    case 4:
      return 3;
    case 16:
      return 4;
    default:
      return 5;
  }
}

QByteArray Payload(uint8_t code, int from) {
  QByteArray a;
  a.append(static_cast<char>(code));
  a.append(static_cast<char>(from));
  return a;
}

bool ReadPayload(const QMimeData* m, uint8_t& code, int& from) {
  if (!m || !m->hasFormat(kPieceMimeType)) return false;
  const QByteArray a = m->data(kPieceMimeType);
  if (a.size() != 2) return false;
  code = static_cast<uint8_t>(a[0]);
  from = static_cast<signed char>(a[1]);
  return IsValidPieceCode(code);
}

Qt::DropAction StartDrag(QWidget* source, uint8_t code, int from, double size) {
  auto* mime = new QMimeData;
  mime->setData(kPieceMimeType, Payload(code, from));
  auto* drag = new QDrag(source);
  drag->setMimeData(mime);
  const int px = std::max(16, static_cast<int>(size));
  QPixmap pm(px, px);
  pm.fill(Qt::transparent);
  {
    QPainter p(&pm);
    DrawPiece(p, QRectF(0, 0, px, px), code);
  }
  drag->setPixmap(pm);
  drag->setHotSpot(QPoint(px / 2, px / 2));
  return drag->exec(Qt::MoveAction | Qt::CopyAction, Qt::MoveAction);
}

}  // namespace

void DrawPiece(QPainter& p, const QRectF& r, uint8_t code) {
  if (!IsValidPieceCode(code) || code == 0) return;
  const int idx = GlyphIndex(KindOf(code));
  QFont f("DejaVu Sans");
  f.setPixelSize(std::max(4, static_cast<int>(r.height() * 0.8)));
  // The filled glyph gives the body, the outline glyph the drawing on it.
  QPainterPath body, outline;
  body.addText(0, 0, f, QString(QChar(0x265A + idx)));
  outline.addText(0, 0, f, QString(QChar(0x2654 + idx)));
  const QRectF br = outline.boundingRect();
  const QPointF shift = r.center() - br.center();
  body.translate(shift);
  outline.translate(shift);
  p.save();
  p.setRenderHint(QPainter::Antialiasing);
  p.setPen(Qt::NoPen);
  if (ColourOf(code) == kWhite) {
    p.setBrush(Qt::white);
    p.drawPath(body);
    p.setBrush(Qt::black);
    p.drawPath(outline);
  } else {
    p.setBrush(Qt::black);
    p.drawPath(body);
  }
  p.restore();
}

TBoardWidget::TBoardWidget(QWidget* parent) : QWidget(parent) {
  setAcceptDrops(true);
  setMinimumSize(160, 160);
  QSizePolicy sp(QSizePolicy::Expanding, QSizePolicy::Expanding);
  sp.setHeightForWidth(true);
  setSizePolicy(sp);
}

void TBoardWidget::SetSquares(const std::array<uint8_t, 64>& s) {
  squares_ = s;
  update();
}

void TBoardWidget::PlacePiece(uint8_t code, int sq) {
  if (!IsOnBoard(sq) || !IsValidPieceCode(code)) return;
  squares_[static_cast<size_t>(sq)] = code;
  update();
  emit edited();
}

void TBoardWidget::RemovePiece(int sq) {
  if (!IsOnBoard(sq) || squares_[static_cast<size_t>(sq)] == 0) return;
  squares_[static_cast<size_t>(sq)] = 0;
  update();
  emit edited();
}

void TBoardWidget::MovePiece(int from, int to) {
  if (!IsOnBoard(from) || !IsOnBoard(to) || from == to) return;
  const uint8_t c = squares_[static_cast<size_t>(from)];
  if (!c) return;
  squares_[static_cast<size_t>(from)] = 0;
  squares_[static_cast<size_t>(to)] = c;
  update();
  emit edited();
}

void TBoardWidget::Clear() {
  squares_.fill(0);
  update();
  emit edited();
}

void TBoardWidget::SetInitialPosition() {
  squares_.fill(0);
  const uint8_t back[8] = {WR, WN, WB, WQ, WK, WB, WN, WR};
  for (int f = 0; f < 8; ++f) {
    squares_[static_cast<size_t>(f)] = back[f];
    squares_[static_cast<size_t>(8 + f)] = WP;
    squares_[static_cast<size_t>(48 + f)] = BP;
    squares_[static_cast<size_t>(56 + f)] = static_cast<uint8_t>((back[f] & kKindMask) | kBlack);
  }
  update();
  emit edited();
}

void TBoardWidget::SetFlipped(bool f) {
  flipped_ = f;
  update();
}

void TBoardWidget::SetEditable(bool e) {
  editable_ = e;
  update();
}

QRectF TBoardWidget::BoardRect() const {
  // A margin for the coordinates.
  const double side = std::min(width(), height());
  const double margin = side * 0.05;
  const double boardSide = side - 2 * margin;
  return {(width() - boardSide) / 2, (height() - boardSide) / 2, boardSide, boardSide};
}

QRectF TBoardWidget::SquareRect(int sq) const {
  const QRectF b = BoardRect();
  const double cell = b.width() / 8;
  int col = FileOf(sq), row = 7 - RankOf(sq);
  if (flipped_) {
    col = 7 - col;
    row = 7 - row;
  }
  return {b.left() + col * cell, b.top() + row * cell, cell, cell};
}

int TBoardWidget::SquareAt(const QPoint& pt) const {
  const QRectF b = BoardRect();
  if (!b.contains(pt)) return -1;
  const double cell = b.width() / 8;
  int col = std::clamp(static_cast<int>((pt.x() - b.left()) / cell), 0, 7);
  int row = std::clamp(static_cast<int>((pt.y() - b.top()) / cell), 0, 7);
  if (flipped_) {
    col = 7 - col;
    row = 7 - row;
  }
  return SquareOf(col, 7 - row);
}

void TBoardWidget::paintEvent(QPaintEvent*) {
  const TCrashPaintScope painting;  // a crash log tells that the board was being drawn
  QPainter p(this);
  const QRectF b = BoardRect();
  for (int sq = 0; sq < 64; ++sq) {
    const bool light = (FileOf(sq) + RankOf(sq)) % 2 == 1;
    QColor c = light ? kLight : kDark;
    if (!editable_) c = c.darker(108);
    p.fillRect(SquareRect(sq), c);
    DrawPiece(p, SquareRect(sq), squares_[static_cast<size_t>(sq)]);
  }
  p.setPen(QPen(Qt::black, 1));
  p.drawRect(b);
  // Coordinates in the margin.
  QFont f = font();
  f.setPixelSize(std::max(6, static_cast<int>(b.width() / 8 * 0.22)));
  p.setFont(f);
  p.setPen(palette().color(QPalette::WindowText));
  for (int i = 0; i < 8; ++i) {
    const QRectF fileCell = SquareRect(SquareOf(i, flipped_ ? 7 : 0));
    const double margin = std::min(static_cast<double>(height()) - b.bottom(), fileCell.height() * 0.45);
    p.drawText(QRectF(fileCell.left(), b.bottom(), fileCell.width(), margin), Qt::AlignCenter,
               QString(QChar('a' + i)));
    const QRectF rankCell = SquareRect(SquareOf(flipped_ ? 7 : 0, i));
    const double side = std::min(b.left(), fileCell.width() * 0.45);
    p.drawText(QRectF(b.left() - side, rankCell.top(), side, rankCell.height()), Qt::AlignCenter,
               QString::number(i + 1));
  }
}

void TBoardWidget::mousePressEvent(QMouseEvent* e) {
  pressSquare_ = -1;
  if (!editable_) return;
  const int sq = SquareAt(e->position().toPoint());
  if (sq < 0) return;
  if (e->button() == Qt::RightButton) {
    RemovePiece(sq);
    return;
  }
  if (e->button() == Qt::LeftButton && squares_[static_cast<size_t>(sq)]) {
    pressSquare_ = sq;
    pressPos_ = e->position().toPoint();
  }
}

void TBoardWidget::mouseMoveEvent(QMouseEvent* e) {
  if (pressSquare_ < 0 || !(e->buttons() & Qt::LeftButton)) return;
  if ((e->position().toPoint() - pressPos_).manhattanLength() < 4) return;
  const int from = pressSquare_;
  pressSquare_ = -1;
  const uint8_t code = squares_[static_cast<size_t>(from)];
  // Dropped where nothing takes it (beside the window): the piece leaves the board.
  if (RunDrag(code, from) == Qt::IgnoreAction && editable_ && squares_[static_cast<size_t>(from)] == code)
    RemovePiece(from);
}

Qt::DropAction TBoardWidget::RunDrag(uint8_t code, int from) {
  return StartDrag(this, code, from, SquareRect(from).width());
}

void TBoardWidget::dragEnterEvent(QDragEnterEvent* e) {
  if (editable_ && e->mimeData()->hasFormat(kPieceMimeType)) e->acceptProposedAction();
}

void TBoardWidget::dragMoveEvent(QDragMoveEvent* e) {
  if (editable_ && e->mimeData()->hasFormat(kPieceMimeType)) e->acceptProposedAction();
}

void TBoardWidget::dropEvent(QDropEvent* e) {
  uint8_t code = 0;
  int from = -1;
  if (!editable_ || !ReadPayload(e->mimeData(), code, from)) return;
  const int to = SquareAt(e->position().toPoint());
  if (to < 0) {
    if (from >= 0) RemovePiece(from);
  } else if (from >= 0) {
    MovePiece(from, to);
  } else {
    PlacePiece(code, to);
  }
  e->acceptProposedAction();
}

TPiecepalette::TPiecepalette(QWidget* parent) : QWidget(parent) {
  setAcceptDrops(true);
  setMinimumSize(6 * 24, 2 * 24);
  setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

double TPiecepalette::Cell() const {
  return std::min(width() / 6.0, height() / 2.0);
}

uint8_t TPiecepalette::CodeAt(const QPoint& pt) const {
  const double c = Cell();
  const int col = static_cast<int>(pt.x() / c), row = static_cast<int>(pt.y() / c);
  if (pt.x() < 0 || pt.y() < 0 || col > 5 || row > 1) return 0;
  return kPalette[row * 6 + col];
}

void TPiecepalette::paintEvent(QPaintEvent*) {
  QPainter p(this);
  const double c = Cell();
  for (int i = 0; i < 12; ++i) {
    const QRectF r((i % 6) * c, (i / 6) * c, c, c);
    p.fillRect(r, (i + i / 6) % 2 ? kDark : kLight);
    DrawPiece(p, r, kPalette[i]);
  }
}

void TPiecepalette::mousePressEvent(QMouseEvent* e) {
  const uint8_t code = CodeAt(e->position().toPoint());
  if (code && e->button() == Qt::LeftButton) StartDrag(this, code, -1, Cell());
}

void TPiecepalette::dragEnterEvent(QDragEnterEvent* e) {
  if (e->mimeData()->hasFormat(kPieceMimeType) && e->source() != this) e->acceptProposedAction();
}

void TPiecepalette::dropEvent(QDropEvent* e) {
  uint8_t code = 0;
  int from = -1;
  if (!ReadPayload(e->mimeData(), code, from) || from < 0) return;
  if (auto* board = qobject_cast<TBoardWidget*>(e->source())) board->RemovePiece(from);
  e->acceptProposedAction();
}

}  // namespace ostravel::gui
