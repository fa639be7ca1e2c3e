Hello,

your message of %TIME% to %TO% can't be
delivered: no nodelist that %SYSTEM% has tells of such a system.
Please look the address up and send the message again.

It follows.

