#pragma once

/// The value providers: one per scalar object, named as the object, each in the header of its group.
///
/// A provider asks the router's API (through a cache of 5 seconds) on the agent's only thread. It never
/// throws and never logs. A text is the bytes of an OCTET STRING, an integer the 32 bits of an INTEGER or
/// TimeTicks. When the API fails, or gives what cannot be read, a text is "Unknown" and a number 0, unless
/// said otherwise; what the API merely leaves out is an empty text, "False" or 0.
///
/// A header begins with the accessor of its group's query: it gives a copy, the caller's own, of the
/// `result`, whose members it names; false when the API failed.

#include "zancellular.h"
#include "zancellularstats.h"
#include "zandhcpserver.h"
#include "zandiagnostics.h"
#include "zanethernet.h"
#include "zanfirewall.h"
#include "zanradio.h"
#include "zanremoteaccess.h"
#include "zanrouter.h"
#include "zanserialtoip.h"
#include "zanservices.h"
#include "zanwanmanager.h"
#include "zanwifi.h"
