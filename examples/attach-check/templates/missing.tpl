Hello,

your message of %TIME% to %TO% is a file attach:

    %SUBJECT%

It waited at %SYSTEM%, but these files, or some of them, didn't
come. Please send message and files again.

