#pragma once
// The diagram: an 8x8 board that scales with its widget, drawn with the chess
// glyphs of DejaVu Sans. In edit mode pieces are dragged from the palette and
// between squares; dragging a piece off the board or a right click removes it.
#include <QWidget>
#include <array>
#include <cstdint>

namespace ostravel::gui {

// The drag payload: a piece code and the square it left (-1: the palette).
inline constexpr const char* kPieceMimeType = "application/x-ostravel-piece";

// Draws one piece code into a square rectangle.
void DrawPiece(class QPainter& p, const QRectF& r, uint8_t code);

class TBoardWidget : public QWidget {
  Q_OBJECT
 public:
  explicit TBoardWidget(QWidget* parent = nullptr);

  const std::array<uint8_t, 64>& Squares() const { return squares_; }
  void SetSquares(const std::array<uint8_t, 64>& s);
  uint8_t PieceAt(int sq) const { return squares_[static_cast<size_t>(sq)]; }

  // Editing actions (each emits edited()).
  void PlacePiece(uint8_t code, int sq);
  void RemovePiece(int sq);
  void MovePiece(int from, int to);
  void Clear();
  void SetInitialPosition();

  void SetFlipped(bool f);
  bool Flipped() const { return flipped_; }
  // Off: a position of the solution is shown and cannot be edited.
  void SetEditable(bool e);
  bool Editable() const { return editable_; }
  // Square under a widget point, -1 outside the board.
  int SquareAt(const QPoint& pt) const;
  QRectF SquareRect(int sq) const;

  QSize sizeHint() const override { return {360, 360}; }
  bool hasHeightForWidth() const override { return true; }
  int heightForWidth(int w) const override { return w; }

 signals:
  void edited();

 protected:
  void paintEvent(QPaintEvent*) override;
  void mousePressEvent(QMouseEvent*) override;
  void mouseMoveEvent(QMouseEvent*) override;
  void dragEnterEvent(QDragEnterEvent*) override;
  void dragMoveEvent(QDragMoveEvent*) override;
  void dropEvent(QDropEvent*) override;
  // Runs the drag of the piece on `from` until it is dropped; the action the
  // target took (Qt::IgnoreAction: no target took it).
  virtual Qt::DropAction RunDrag(uint8_t code, int from);

 private:
  QRectF BoardRect() const;

  std::array<uint8_t, 64> squares_{};
  bool flipped_ = false;
  bool editable_ = true;
  int pressSquare_ = -1;
  QPoint pressPos_;
};

// The twelve pieces to drag onto the board.
class TPiecepalette : public QWidget {
  Q_OBJECT
 public:
  explicit TPiecepalette(QWidget* parent = nullptr);
  QSize sizeHint() const override { return {6 * 36, 2 * 36}; }
  // Piece code at a palette point (0: none).
  uint8_t CodeAt(const QPoint& pt) const;

 protected:
  void paintEvent(QPaintEvent*) override;
  void mousePressEvent(QMouseEvent*) override;
  // A piece dragged back to the palette is removed from the board.
  void dragEnterEvent(QDragEnterEvent*) override;
  void dropEvent(QDropEvent*) override;

 private:
  double Cell() const;
};

}  // namespace ostravel::gui
