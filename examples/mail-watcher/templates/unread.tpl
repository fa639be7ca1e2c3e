Hello,

your message of %TIME% reached %SYSTEM%,
but its addressee at %TO% hasn't fetched it in all the time
since then. It has been put into the archive of this system.

If it still matters, please try another way.
