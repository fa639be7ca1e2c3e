Hello,

your message of %TIME% to %TO% can't be
delivered: %SYSTEM% has no point of this number.

It follows.

