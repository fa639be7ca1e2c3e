Hello,

your message of %TIME% to %TO% is a file attach.
It waited at %SYSTEM%, but the files that the subject tells,
or some of them, didn't come. Please send message and files again.

