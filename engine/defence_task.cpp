#include "engine/defence_task.h"

#include <algorithm>

#include "chess/notation.h"
#include "engine/mate_search.h"
#include "engine/run_internal.h"
#include "registers/chessboard_register.h"
#include "registers/temporary_register.h"

namespace ostravel {

void ClassifyDefence(TDefenceResult& d) {
  d.best.clear();
  d.equivalent.clear();
  std::vector<size_t> searched;
  for (size_t i = 0; i < d.replies.size(); ++i)
    if (d.replies[i].searched) searched.push_back(i);
  if (d.replies.empty() || searched.empty()) {
    d.headline = TEngineText::kDefenceNoValidMove;
    return;
  }
  auto defends = [&](size_t i) { return d.replies[i].mateIn == 0; };
  if (d.replies.size() == 1) {
    d.best.push_back(0);
    d.headline = defends(0) ? TEngineText::kDefenceOnlyReply : TEngineText::kDefenceOnlyReplyNotDefence;
    return;
  }
  // Replies that escape the short mate: no mate at all, or only a longer one.
  std::vector<size_t> escaping;
  for (size_t i : searched)
    if (defends(i) || d.shortMateMoves < 1 || d.replies[i].mateIn > d.shortMateMoves) escaping.push_back(i);
  if (d.shortMateMoves >= 1 && escaping.size() == 1 && searched.size() == d.replies.size()) {
    const size_t i = escaping.front();
    d.best.push_back(i);
    d.headline =
        defends(i) ? TEngineText::kDefenceOnlyReplyShort : TEngineText::kDefenceOnlyReplyShortNotDefence;
    return;
  }
  std::vector<size_t> refutations;
  for (size_t i : searched)
    if (defends(i)) refutations.push_back(i);
  if (!refutations.empty()) {
    d.headline = TEngineText::kDefenceRefuted;
    d.best.push_back(refutations.front());
    d.equivalent.assign(refutations.begin() + 1, refutations.end());
    return;
  }
  // Every reply is mated: the longest resistance is the best.
  int longest = 0;
  for (size_t i : searched) longest = std::max(longest, d.replies[i].mateIn);
  d.headline = TEngineText::kDefenceNone;
  for (size_t i : searched) {
    if (d.replies[i].mateIn != longest) continue;
    (d.best.empty() ? d.best : d.equivalent).push_back(i);
  }
}

// Black's replies, each searched for White's shortest mate within n.
void RunDefence(TRunShared& st, const TChessboard& root) {
  const TSolveRequest& r = st.req;
  TSolveResult& res = st.result;
  TDefenceResult& def = res.defence;
  TypeCheck(st, root);
  {
    auto reg = RegisterFor(r);
    std::lock_guard<std::mutex> lk(st.lock);
    st.reg = std::move(reg);
    st.progress.state = TRunState::kRunning;
  }

  int shortMoves = r.customShortMateDepth >= 1 ? r.customShortMateDepth / 2 + 1 : 7;
  def.shortMateMoves = std::min(shortMoves, r.moves - 1);

  TMove moves[kMaxMoves];
  const int n = GenerateLegalMoves(root, moves);
  for (int i = 0; i < n; ++i) {
    TDefenceReply reply;
    reply.move = moves[i];
    reply.text = MoveToText(root, moves[i]);
    def.replies.push_back(reply);
  }

  TSearchSettings ss;
  ss.mode = SolutionMode::kAll;
  ss.customShortMateDepth = r.customShortMateDepth;
  ss.tempRegLimitMB = r.registerLimitMB;
  ss.probe = r.probe;
  ss.threads = std::max<int>(1, r.threads);
  ss.computeVariations = false;
  TMateSearch search(ss, st.reg);
  TSearchesRelease release(st);
  {
    std::lock_guard<std::mutex> lk(st.lock);
    st.search = &search;
    st.searches.push_back(&search);
    st.progress.pass = 1;
    st.progress.repliesTotal = n;
  }
  // Each reply starts a task of its own: its rights and e.p. square are those
  // the reply leaves, and White has the full n moves.
  // What is proved after a reply is kept apart from White's positions in the
  // defence register; a reply that leads to a position already known to hold
  // needs no search, and an answer that contradicts a stored one is an error.
  TChessboardRegister<bool> defences;
  std::vector<TTaskContext> contexts(static_cast<size_t>(n));
  for (int i = 0; i < n; ++i) {
    if (!st.WaitWhilePaused()) break;
    {
      std::lock_guard<std::mutex> lk(st.lock);
      st.progress.defenceLine = "1... " + def.replies[static_cast<size_t>(i)].text;
      st.progress.repliesDone = i;
    }
    TChessboard after;
    PlayMove(root, after, moves[i]);
    TTaskContext& c = contexts[static_cast<size_t>(i)];
    c = r.position;
    c.rootCastling = CastlingRights(after);
    c.rootEpSquare = static_cast<int8_t>(EnPassantTarget(after));
    TChessboard child = after;
    child.previous = nullptr;
    child.context = &c;
    SetRootPlies(child, static_cast<uint16_t>(2 * r.moves - 1));
    const uint32_t hash = RegisterHash(child.board);
    const bool plain = !CastlingRights(child) && EnPassantTarget(child) < 0;
    int mateIn = 0;
    if (!plain || defences.LookUpDefence(child.board, hash) != 0) {
      mateIn = search.ShortestMate(child, r.moves);
      if (st.StopWanted()) break;
      if (plain) defences.InsertDefence(child.board, hash, mateIn != 0);
    }
    def.replies[static_cast<size_t>(i)].mateIn = mateIn;
    def.replies[static_cast<size_t>(i)].searched = true;
  }
  {
    std::lock_guard<std::mutex> lk(st.lock);
    st.progress.repliesDone = n;
  }
  res.nodes = search.Nodes();
  def.registerEntries = defences.ElementCount();
  ClassifyDefence(def);
}

}  // namespace ostravel
