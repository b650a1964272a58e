"""An independent statement of what the module answers for any state of the management API.

Nothing here is derived from the module's sources.  `jsonvalue` models the conversions of the JSON
library, `scalars` and `tables` say for each object what it reads and how it converts it, `tree` puts
the answers of a whole state into OID order, `generator` makes states, `shrink` makes failing states
small, and `cases` holds the named edge cases of every group.
"""
