Hello %TONAME%,

your message to %OLDTONAME% at %OLDTO% of %OLDTIME% reached
%SYSTEM% more than sixty days after it was written. It is returned
so that you can decide whether it still matters.

Your message was:

