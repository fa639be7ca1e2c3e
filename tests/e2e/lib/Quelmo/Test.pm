package Quelmo::Test;

# End-to-end scenarios. One scenario is a fresh home directory with a configuration, areas and a script; run()
# runs the program in it once and gives back all that can be seen of the run.
#
#   use Quelmo::Test;                        # also imports Test::More and the codecs of Quelmo::Msg
#
#   my $s = scenario(
#       config => "...",                     # lines behind the default configuration, see $BASE_CONFIG
#       areas  => {NETMAIL => [{from => 'Bob', text => "Hi\r"}, ...],      # 1.msg, 2.msg, ...
#                  OUT => {'7.msg' => {...}, 'LASTREAD' => "bytes"}},      # or by file name
#       echo   => ['OUT'],                   # those of them that are marked echomail
#       system => {NETMAIL => 'TAG'},        # those that have a SYSTEM block
#       script => 'while (ReadMsg()) { out(GetHdr()) }',                   # body of the sub in route.pl
#   );
#   my $r = $s->run(args => 'a,b');          # quelmo -1 a,b route
#   is($r->code, 0);
#   $r->said       what the script gave to out(): a list reference for each call, undef kept as undef
#   $r->out, $r->err, $r->log   (log lines as a list, times and line ends off), $r->seconds
#   $r->log_like(qr/.../, 'name'), $r->log_unlike(...), $r->ended_well, $r->stopped(qr/text on stderr/)
#   $s->msg('NETMAIL', 1)        decoded file, undef if there is none;  $s->files('NETMAIL') sorted names
#   $s->path('NETMAIL/1.msg'), $s->slurp($name), $s->spew($name, $bytes)
#
# run() takes: script (a body as above), argv (whole command line instead), args (of the first script),
# stdin (bytes), env (name => value, undef removes), timeout (seconds, 60), during (sub called with the process id
# while the program runs; $s->wait_for('file') helps it to find the moment), killed (a signal's death is expected),
# wrap (a command that runs the program, as a list of words).
# via_line('2:1/2') is a Via line of the program's own, as an earlier run left it, via_like a pattern for a new one.
# A crash, a sanitizer's report and a run that had to be killed fail the test by themselves.

use strict;
use warnings;
use Exporter 'import';
use Cwd qw(abs_path);
use File::Path qw(make_path);
use File::Temp qw(tempdir);
use POSIX ();
use Test::More;
use Time::HiRes qw(sleep time);
use Quelmo::Msg;

our @EXPORT = (@Test::More::EXPORT, @Quelmo::Msg::EXPORT, qw(scenario via_line via_like));

our $PROGRAM = abs_path($ENV{QUELMO_BIN} // '') // '';
die "QUELMO_BIN names no program\n" unless -x $PROGRAM;

our $BASE_CONFIG = "MAINADDRESS 2:999/100\@testnet\nCHAT OFF\nDEBUG 1\n";

# Scripts report through this: one line for each call, values in hexadecimal, so that any byte gets through.
my $PRELUDE = <<'PERL';
sub out {
    my @hex = map {
        my $v = $_;
        utf8::encode($v) if defined $v && utf8::is_utf8($v);
        defined $v ? 'x' . unpack('H*', $v) : '-';
    } @_;
    open my $f, '>>', $ENV{QUELMO_SAID} or die "said: $!";
    print $f join(' ', '=', @hex), "\n";
    close $f;
}
PERL

sub scenario { return Quelmo::Test::Scenario->new(@_) }

sub via_line { return "\x01Via $_[0] \@20240501.101500.UTC quelmo 1.02/w32 19-01-01\r" }
sub via_like { return qr{\x01Via \Q$_[0]\E \@\d{8}\.\d{6}\.UTC quelmo 1\.02/w32 19-01-01\r} }

package Quelmo::Test::Scenario;

use Test::More;
use Quelmo::Msg;
use Time::HiRes qw(sleep time);

sub new {
    my ($class, %o) = @_;
    my $top = Cwd::abs_path(File::Temp::tempdir('quelmo-XXXXXX', TMPDIR => 1, CLEANUP => 1));
    my $self = bless {top => $top, home => "$top/home"}, $class;
    mkdir "$top/home" or die "$top/home: $!\n";
    my $config = $o{bare} ? '' : $Quelmo::Test::BASE_CONFIG;
    my $areas = '';
    my %echo = map { $_ => 1 } @{$o{echo} // []};
    for my $tag (sort keys %{$o{areas} // {}}) {
        $self->area($tag, $o{areas}{$tag});
        my $system = $o{system}{$tag} // '';
        $areas .= "FIDOAREA $tag $tag $system" . ($echo{$tag} ? ' echomail' : '') . "\n";
    }
    # Areas stand last: the blocks that they name have to be defined by then.
    $self->spew('quelmo.cfg', $config . ($o{config} // '') . "\n" . $areas);
    $self->script($o{script}) if defined $o{script};
    return $self;
}

sub home { return $_[0]{home} }
sub path { my ($self, $name) = @_; return $name =~ m{^/} ? $name : "$self->{home}/$name" }

# Fills a directory of the home: a list of messages, or a hash of file names; a hash of fields, or plain bytes.
sub area {
    my ($self, $dir, $content) = @_;
    my $at = $self->path($dir);
    File::Path::make_path($at);
    my %files = ref $content eq 'HASH' ? %$content : ();
    if (ref $content eq 'ARRAY') {
        $files{($_ + 1) . '.msg'} = $content->[$_] for 0 .. $#$content;
    }
    for my $name (keys %files) {
        my $f = $files{$name};
        $self->spew("$dir/$name", ref $f ? pack_msg(%$f) : $f);
    }
    return $self;
}

sub script {
    my ($self, $body, $name) = @_;
    $name //= 'route';
    $self->spew("$name.pl", "${PRELUDE}sub $name {\n$body\n}\n1;\n");
    return $self;
}

sub spew {
    my ($self, $name, $bytes) = @_;
    my $file = $self->path($name);
    open my $f, '>:raw', $file or die "$file: $!\n";
    print {$f} $bytes;
    close $f or die "$file: $!\n";
    return $self;
}

sub slurp {
    my ($self, $name) = @_;
    open my $f, '<:raw', $self->path($name) or return undef;
    local $/;
    return scalar(<$f>) // '';
}

sub files {
    my ($self, $dir) = @_;
    opendir my $d, $self->path($dir) or return;
    my $number = sub { $_[0] =~ /^(\d+)/ ? $1 : -1 };
    return sort { $number->($a) <=> $number->($b) || $a cmp $b } grep { !/^\.\.?$/ } readdir $d;
}

sub msg {
    my ($self, $dir, $n) = @_;
    my $bytes = $self->slurp($n =~ /\D/ ? "$dir/$n" : "$dir/$n.msg");
    return defined $bytes ? unpack_msg($bytes) : undef;
}

# Waits until a file of the home exists (at most 20 seconds); true if it does.
sub wait_for {
    my ($self, $name) = @_;
    my $end = time + 20;
    while (time < $end) { return 1 if -e $self->path($name); sleep 0.005 }
    return 0;
}

sub run {
    my ($self, %o) = @_;
    $self->script($o{script}) if defined $o{script};
    my @argv = @{$o{argv} // [defined $o{args} ? ('-1', $o{args}) : (), 'route']};
    my $top = $self->{top};
    unlink $self->path("quelmo.log"), glob("$top/said $top/stdout $top/stderr $top/sanitizer*");
    $self->spew("$top/stdin", $o{stdin} // '');
    my $start = time;
    my $pid = fork // die "fork: $!\n";
    if (!$pid) { $self->_exec([@{$o{wrap} // []}, $Quelmo::Test::PROGRAM, @argv], $o{env} // {}) }
    $o{during}->($pid) if $o{during};
    my ($status, $timed_out) = _wait($pid, $start + ($o{timeout} // 60));
    my $r = bless {
        status => $status, code => $status >> 8, signal => $status & 127, seconds => time - $start,
        out => $self->slurp("$top/stdout"), err => $self->slurp("$top/stderr"),
        log => $self->_log, said => $self->_said,
    }, 'Quelmo::Test::Result';
    my $reports = join '', map { $self->slurp($_) } glob("$top/sanitizer*");
    $reports .= $r->{err} if $r->{err} =~ /runtime error: /;    # this sanitizer knows no file for its reports
    my $fault = $timed_out ? 'the run did not end' : $reports ? "sanitizer: $reports"
      : $r->{signal} && !$o{killed} ? "died of signal $r->{signal}" : '';
    if ($fault) { fail("run of @argv"); diag($fault); diag($r->{err}) if length $r->{err}; }
    return $r;
}

sub _exec {
    my ($self, $argv, $env) = @_;
    my $top = $self->{top};
    # A clean environment: nothing of the machine's reaches the program but what finds its libraries.
    my %keep = map { $_ => $ENV{$_} } grep { defined $ENV{$_} } qw(LD_LIBRARY_PATH PERL5LIB);
    %ENV = (
        %keep, PATH => '/usr/local/bin:/usr/bin:/bin', HOME => $self->home, TZ => 'UTC', LC_ALL => 'C',
        QUELMO => $self->home, QUELMO_STDERR => '-', QUELMO_SAID => "$top/said",
        ASAN_OPTIONS => "log_path=$top/sanitizer:exitcode=99", UBSAN_OPTIONS => 'print_stacktrace=1',
        %$env
    );
    delete $ENV{$_} for grep { !defined $env->{$_} } keys %$env;
    chdir $self->home or POSIX::_exit(126);
    open STDIN, '<', "$top/stdin" or POSIX::_exit(126);
    open STDOUT, '>', "$top/stdout" or POSIX::_exit(126);
    open STDERR, '>', "$top/stderr" or POSIX::_exit(126);
    { no warnings 'exec'; exec { $argv->[0] } @$argv }
    print STDERR "cannot run $argv->[0]: $!\n";
    POSIX::_exit(127);
}

sub _wait {
    my ($pid, $end) = @_;
    my $timed_out = 0;
    my $pause = 0.001;
    while (waitpid($pid, POSIX::WNOHANG()) == 0) {
        if (time > $end && !$timed_out) { $timed_out = 1; kill 'KILL', $pid }
        sleep $pause;
        $pause = 0.02 if ($pause *= 1.5) > 0.02;
    }
    return ($?, $timed_out);
}

sub _log {
    my ($self) = @_;
    my $log = $self->slurp('quelmo.log') // '';
    return [map { s/^\d\d:\d\d:\d\d  //r } split /\n/, $log];
}

sub _said {
    my ($self) = @_;
    my $said = $self->slurp("$self->{top}/said") // '';
    my @calls = map { [split / /] } split /\n/, $said;
    shift @$_ for @calls;
    return [map { [map { $_ eq '-' ? undef : pack 'H*', substr $_, 1 } @$_] } @calls];
}

package Quelmo::Test::Result;

sub code { return $_[0]{code} }
sub signal { return $_[0]{signal} }
sub out { return $_[0]{out} }
sub err { return $_[0]{err} }
sub log { return $_[0]{log} }
sub said { return $_[0]{said} }
sub seconds { return $_[0]{seconds} }

# The run ended well: code 0 and a footer as the last line of the log.
sub ended_well {
    my ($self, $name) = @_;
    local $Test::Builder::Level = $Test::Builder::Level + 1;
    my $good = $self->{code} == 0 && ($self->{log}[-1] // '') =~ /^Runtime: /;
    return Test::More::ok($good, $name // 'the run ends well') || Test::More::diag(Test::More::explain($self));
}

# The run was stopped by a fatal error that stderr tells of: code 1, the lock is gone, the log has its footer.
sub stopped {
    my ($self, $pattern, $name) = @_;
    local $Test::Builder::Level = $Test::Builder::Level + 1;
    my $good = $self->{code} == 1 && $self->{err} =~ $pattern && grep { /^Runtime: / } @{$self->{log}};
    return Test::More::ok($good, $name // "the run is stopped by $pattern") || Test::More::diag(Test::More::explain($self));
}

sub log_like {
    my ($self, $pattern, $name) = @_;
    local $Test::Builder::Level = $Test::Builder::Level + 1;
    return Test::More::ok(scalar(grep { $_ =~ $pattern } @{$self->{log}}), $name // "the log has $pattern")
      || Test::More::diag(join "\n", @{$self->{log}});
}

sub log_unlike {
    my ($self, $pattern, $name) = @_;
    local $Test::Builder::Level = $Test::Builder::Level + 1;
    return Test::More::ok(!grep({ $_ =~ $pattern } @{$self->{log}}), $name // "the log hasn't $pattern")
      || Test::More::diag(join "\n", @{$self->{log}});
}

1;
