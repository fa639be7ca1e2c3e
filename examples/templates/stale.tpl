Hello %FROMNAME%,

your message to %TONAME% at %TO% of %TIME% reached
%SYSTEM% more than sixty days after it was written. It is returned
so that you can decide whether it still matters.

Your message was:

