// Late-bound objects over COM: a host's IDispatch seen as an AutomationObject
// (GetIDsOfNames + Invoke), and any AutomationObject served as an IDispatch, so
// that objects cross the boundary in both directions. A failed call always ends
// as HostError on our side and as an EXCEPINFO on COM's side; never as a crash.
#pragma once

#include <windows.h>
#include <oaidl.h>

#include "platform/automation.h"

namespace quillorn::platform {

// The object behind `dispatch` (a new reference is taken). Null gives Nothing, a
// null ObjectRef. An IDispatch that DispatchFor made gives back its own object.
ObjectRef WrapDispatch(IDispatch* dispatch);

// The IDispatch that stands for `object`, with a reference for the caller: the
// host's own for a wrapped one, else a new server over it. Null for Nothing.
IDispatch* DispatchFor(const ObjectRef& object);

}  // namespace quillorn::platform
