#include "engine/probe_chain.h"

#include "engine/solve_request.h"
#include "engine/tablebase_session.h"

namespace ostravel {

void AttachProbes(TProbeChain& chain, TSolveRequest& r, IPositionProbe* globalRegister,
                  TTablebaseSession* tablebase, std::vector<std::string>* notes) {
  r.probe = nullptr;
  if (tablebase) tablebase->Attach(r, notes);
  chain.Add(globalRegister);
  chain.Add(r.probe);
  r.probe = chain.Get();
}

}  // namespace ostravel
