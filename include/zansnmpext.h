#pragma once

extern "C" {

/// The module's entry: the agent's loader calls it by this name after loading "zansnmpext", and again each
/// time the agent reads its configuration anew.
///
/// Registers the scalars and the tables, reads the traps switch from the API, opens the event queue and arms
/// the alarm that drains it. A later call registers nothing again, but reads the switch anew; a queue that is
/// not open yet is opened then, and its alarm armed.
__attribute__((visibility("default"))) void init_zansnmpext(void);
}
