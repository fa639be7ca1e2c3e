Hello %FROMNAME%,

your message to %TONAME% at %TO% has come back: nobody here has
this name, or this point number. The users of %SYSTEM% and its
points are listed in the file USERS.TXT, which you can request.

Your message was:

