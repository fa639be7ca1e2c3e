# Bundles: the compression configuration, PackPKT and Unpack, with real packers and with packers that misbehave.

use strict;
use warnings;
use Quelmo::Test;
use Quelmo::Pkt;
use POSIX qw(strftime);

my $OURS = via_line('2:999/100@testnet');
my @DAYS = qw(Su Mo Tu We Th Fr Sa);
sub day { return $DAYS[(gmtime)[6]] }

# A packer that is a Perl script: notes its arguments, directory and open files, then does what it is told.
my $PACKER = <<'PERL';
#!/usr/bin/perl
opendir my $d, '/proc/self/fd'; my @open = grep { /^\d+$/ && $_ > 2 && (readlink("/proc/self/fd/$_") // '') !~ m{^/proc|^pipe:|packer} } readdir $d;
use Cwd; open my $log, '>>', "$ENV{QUELMO}/packer.log"; print $log join('|', Cwd::getcwd() =~ s{.*/}{}r, scalar(@open), defined(getc STDIN) ? 'stdin' : '', @ARGV), "\n"; close $log;
print "packer says much\n" x 20000 if $ARGV[0] eq 'loud';
kill 'KILL', $$ if $ARGV[0] eq 'killed';
exit 3 if $ARGV[0] eq 'fails';
exit 0 if $ARGV[0] eq 'nothing';
my (undef, $archive, $files) = @ARGV;
if ($ARGV[0] eq 'x') { open my $a, '<', $archive; local $/; my ($name, $bytes) = (<$a> =~ /^AR(.*?)\n(.*)/s); open my $o, '>', $name; print $o $bytes; exit 0 }
open my $a, '>>', $archive; open my $f, '<', $files; local $/; print $a 'AR' . ($files =~ s{.*/}{}r) . "\n" . <$f>;
PERL

sub compress { my ($add, $extract, %o) = @_; return "Archiver T\nExtension T\nIdent 0,4152\nAdd packer $add\nExtract packer $extract\n" . ($o{more} // '') . "End Archiver\n" }
sub bundle_scenario {
    my (%o) = @_;
    my $s = scenario(config => '');
    mkdir $s->path($_) for qw(pkts out in box), 'odd$dir;`x';
    $s->spew('packer', $PACKER);
    chmod 0755, $s->path('packer');
    $s->spew('compress.cfg', $o{compress} // compress('a %a %f', 'x %a %f'));
    $s->spew('quelmo.cfg', "MAINADDRESS 2:999/100\@testnet\nCHAT OFF\nDEBUG 1\nCOMPRESSFILE compress.cfg\n" . "DATA ADDRESSPACKER PACK\n" . ($o{block} // "2:5/* T -\n2:6/7 - -\n*:*/* T 1k HOLD !TFS\n") . "#END#\n"
          . "PKTAREA pkts PKTS\nPKTAREA box BOX t-box\nBINKAREA out OUT " . ($o{kind} // '') . "\n");
    my $n = 0;
    $s->spew('pkts/' . sprintf('%08x.pkt', ++$n), pack_pkt({to => $_}, {text => "to $_\r"})) for @{$o{to} // []};
    return $s;
}
my $AT = sub { my ($s, $dir) = @_; return [sort map { s/^[0-9A-F]{8}\.(?=\w\w.$)(?![a-z]lo)/X./r } $s->files($dir)] };
sub left { my ($s, $dir) = @_; return [sort $s->files($dir)] }

{    # Bundles, plain attaches, limits, flavours: which name, which line.
    my $s = bundle_scenario(to => ['2:5/6', '2:5/6', '2:6/7', '2:7/8', '2:7/8'], compress => compress('a %a %f', 'x %a %f', more => "Ratio 1.0\n"));
    my $day = day();
    my $home = $s->home;
    $s->spew('pkts/00000005.pkt', pack_pkt({to => '2:7/8'}, {text => 'x' x 2000}));
    my $r = $s->run(script => q{PackPKT('PKTS', 'OUT', 'PACK')});
    $r->ended_well;
    is_deeply($AT->($s, 'out'), [sort '00050006.flo', '00060007.flo', '00070008.hlo', "X.${day}0", "X.${day}0", "X.${day}1"], 'a bundle for each system, a second one where the first is full');
    like($s->slurp('out/00050006.flo'), qr{\A#\Q$home\E/out/[0-9A-F]{8}\.${day}0\r\n\z}, 'attached once, to be truncated');
    is($s->slurp('out/00060007.flo'), "^$home/pkts/00000003.pkt\r\n", 'without a packer the packet is attached');
    like($s->slurp('out/00070008.hlo'), qr{\A\Q$home\E/out/([0-9A-F]{8})\.${day}0\r\n\Q$home\E/out/\g1\.${day}1\r\n\z}, 'held, without a prefix');
    is_deeply([$s->files('pkts')], ['00000003.pkt'], 'packed packets are gone');
    # The next run: the bundle of today goes on, a plain packet isn't attached twice, a busy system waits.
    $s->spew('pkts/00000009.pkt', pack_pkt({to => '2:5/6'}, {}))->spew('pkts/0000000a.pkt', pack_pkt({to => '2:7/8'}, {}))->spew('out/00070008.bsy', '')->spew('pkts/0000000b.pkt', 'cut')->spew('pkts/0000000e.pkt', 'x' x 99);
    $r = $s->run(script => q{PackPKT('PKTS', 'OUT', 'PACK')});
    $r->log_like(qr/^Skipping busy system: 2:7\/8/);
    $r->log_like(qr/error reading pkt header, file `.*0000000b/);
    is(() = $s->slurp('out/00050006.flo') =~ /\n/g, 1, 'no second line for the same bundle');
    is_deeply(left($s, 'pkts'), ['00000003.pkt', '0000000a.pkt', '0000000b.pkt', '0000000e.pkt'], 'what stays');
    # A flow file of another day, an entry of another day or of another kind of archive: a new bundle.
    unlink $s->path('out/00070008.bsy');
    $s->spew('out/00070008.hlo', "$home/out/12345678.${day}0\r\n")->spew("out/12345678.${day}0", 'ZZ other archive');
    utime 1e9, 1e9, $s->path('out/00050006.flo');
    $s->spew('pkts/0000000c.pkt', pack_pkt({to => '2:5/6'}, {}));
    $s->run(script => q{PackPKT('PKTS', 'OUT', 'PACK')});
    is_deeply([map { scalar(() = $s->slurp("out/$_") =~ /\n/g) } '00050006.flo', '00070008.hlo'], [2, 2], 'new bundles are attached');
}

{    # nomove; file boxes; a missing block; the last characters of names.
    my $s = bundle_scenario(to => ['2:5/6', '2:6/7']);
    my $day = day();
    $s->run(script => q{PackPKT('PKTS', 'BOX', 'PACK', 'x')})->ended_well;
    my ($box) = grep { !/^\./ } $s->files('box');
    is_deeply([$AT->($s, "box/$box"), [$s->files('pkts')]], [["X.${day}0"], ['00000002.pkt']], 'a bundle in a box; a packet without a packer stays');
    my ($name) = $s->files("box/$box");
    my $stem = substr $name, 0, 11;
    $s->spew('pkts/1.pkt', pack_pkt({to => '2:5/6'}, {}));
    $s->spew("pkts/$stem$_", 'AR') for '9', 'b', 'Y';
    $s->run(script => q{PackPKT('PKTS', 'OUT', 'PACK', 'NoMove')});
    ok(-s $s->path("pkts/${stem}z"), 'nomove: the bundle is made where the packets lie; z follows Y');
    utime 1e9, 1e9, map { $s->path("pkts/$_") } $s->files('pkts');
    unlink $s->path('out/00050006.flo');
    $s->spew("pkts/${stem}1", '')->spew('pkts/2.pkt', pack_pkt({to => '2:5/6'}, {}))->spew("pkts/${stem}0", 'AR');
    $s->run(script => q{PackPKT('PKTS', 'OUT', 'PACK', 'NoMove')});
    ok(-s $s->path("pkts/${stem}1"), 'behind z an empty one is used');
    $s->run(script => q{PackPKT('PKTS', 'OUT', 'NONE', 'nomove')})->stopped(qr/no such Data AddressPacker block: `NONE'/);
    $s->run(script => q{PackPKT('PKTS', 'PKTS')})->stopped(qr/is not a filebox/);
}

# Packers that misbehave, and names that a shell would take apart.
for my $case (['fails %a %f', qr/error: packer reported 3/], ['killed %a %f', qr/packer reported 137/], ['nothing %a %f', qr/left no archive/], ['loud %a %f', undef]) {
    my ($add, $message) = @$case;
    my $s = bundle_scenario(to => ['2:5/6'], compress => compress($add, 'x %a %f'));
    my $r = $s->run(script => q{PackPKT('PKTS', 'OUT', 'PACK')});
    $message ? $r->log_like($message) : $r->ended_well;
    is(scalar(() = $s->files('pkts')), $message ? 1 : 0, "$add: the packet");
}
{    # A bundle that no list can name takes no mail; a packer that fails again and again leaves one line; a bundle that was sent is done with.
    my $s = bundle_scenario(to => ['2:5/6', '2:7/8'], compress => compress('fails %a %f', 'x %a %f'));
    mkdir $s->path('out/00050006.flo');
    POSIX::mkfifo($s->path('pkts/pipe.pkt'), 0600);
    $s->run(script => q{PackPKT('PKTS', 'OUT', 'PACK'); PackPKT('PKTS', 'OUT', 'PACK')}) for 1, 2;
    is_deeply([map { scalar(() = $s->slurp($_) =~ /\n/g) } 'packer.log', 'out/00070008.hlo'], [4, 1], 'the packer runs for what is attached, and that is attached once');
    $s->spew('compress.cfg', compress('a %a %f', 'x %a %f'))->spew('again', pack_pkt({to => '2:7/8'}, {}));
    $s->run(script => q{PackPKT('PKTS', 'OUT', 'PACK'); truncate $_, 0 for glob 'out/*.??0'; rename 'again', 'pkts/3.pkt'; unlink 'out/00070008.hlo'; PackPKT('PKTS', 'OUT', 'PACK')})->ended_well;
    is_deeply($AT->($s, 'out'), ['00050006.flo', '00070008.hlo', 'X.' . day() . 0, 'X.' . day() . 1], 'a new bundle behind a truncated one');
    is_deeply([$s->files('pkts')], ['pipe.pkt', '00000001.pkt'], 'mail without a list stays');
}
{
    my $odd = q{odd$dir;`x};
    my $s = bundle_scenario(compress => compress('a "%a" %f', 'x %a %f "two words" %d'));
    $s->spew("$odd/-a 'b\" \$(x) %a.pkt", pack_pkt({to => '2:5/6'}, {text => 'odd'}));
    my $r = $s->run(script => q{DefKeyWord('PKTAREA', 'odd$dir;`x ODD'); PackPKT('ODD', 'OUT', 'PACK', 'nomove')});
    $r->ended_well;
    my ($bundle) = $s->files($odd);
    my $home = $s->home;
    is($s->slurp('packer.log'), "home|0||a|$home/$odd/$bundle|$home/$odd/-a 'b\" \$(x) %a.pkt\n", 'each name is one argument; no file of ours is open');
    $s->run(script => q{Unpack('@path odd$dir;`x', '@ in')})->ended_well;
    is((split /\n/, $s->slurp('packer.log'))[1], "home|0||x|$home/$odd/$bundle|*.pkt|two words|$home/in/", 'Unpack: the same');
}

{    # Unpack: where, what is passed over, what stays.
    my $s = bundle_scenario(compress => compress('a %a %f', 'x %a %f') . "Archiver E\nExtension E\nIdent -22,50\nAdd packer a %a %f\nExtract packer x %a %f\nEnd Archiver\n");
    $s->spew("in/$_->[0]", $_->[1]) for ['1A2B3C4D.We0', "ARone.pkt\nbytes"], ['1a2b3c4d.sux', "ARtwo.pkt\nbytes"], ['00000000.Mo0', ''], ['1A2B3C4.We0', "ARno.pkt\n"], ['1A2B3C4D.PKT', "ARno.pkt\n"], ['1A2B3C4E.Tu0', 'XX short'], ['1A2B3C4F.Tu0', 'X' x 30];
    my $r = $s->run(script => q{Unpack('@pa in'); Unpack('@p in', '@p out'); open my $f, '>', 'in/22222222.Th0'; print $f "ARthree.pkt\nx"; close $f; Unpack('@p in')});
    $r->ended_well;
    is_deeply(left($s, 'in'), [sort('00000000.Mo0', '1A2B3C4.We0', '1A2B3C4D.PKT', '1A2B3C4E.Tu0', '1A2B3C4F.Tu0', 'one.pkt', 'two.pkt')], 'bundles are opened, the rest stays');
    is_deeply([$s->files('out')], ['three.pkt'], 'the work directory stays in force');
    $r->log_like(qr/couldn't detect archive type for `.*1A2B3C4E/);
    $s->run(script => q{Unpack('@path none')})->stopped(qr/Path not found : `none'/);
    $s->run(script => q{Unpack()})->stopped(qr/argument count\(need 1 or 2, exist 0\)/);
}

# Mistakes in a compression configuration.
my $GOOD = "Archiver A\nExtension x\nIdent 0,60EA\nAdd packer %a %f\nExtract packer %a %f\n";
for my $case (
    ["Archiver A\nArchiver B\n", qr/no `End Archiver' found for `A'/], ["End A\n", qr/unexpected `End Archiver'/], ["End\n", qr/syntax error \(empty argument\): `End'/], ["${GOOD}Ratio x\n", qr/incorrect ratio `x'/],
    ["Archiver A\nIdent 060EA\n", qr/Ident syntax: `Ident 060EA'/], ["Archiver A\nIdent 0,\n", qr/Ident syntax/], ["Archiver A\nAdd none %a %f\n", qr/archiver not found in curdir or PATH: `none'/],
    ["Archiver A\nAdd packer %a\n", qr/%a or %f missing for `Add'/], ["Archiver A\nExtract packer %f\n", qr/%a or %f missing for `Extract'/], ["Archiver A\nEnd A\n", qr/no `Extention' defined for `A'/],
    ["Archiver A\nExtension x\nEnd A\n", qr/no `Add' defined/], ["Archiver A\nExtension x\nDOS Add packer %a %f ; x\nEnd A\n", qr/no `Extract' defined/], ["$GOOD", qr/unexpected end of file/], ["Zip x\n", qr/unknown keyword: `Zip x'/],
    ["${GOOD}View v\nDOS OS2 Ratio 1.55\nEnd x\n", undef],
) {
    my ($text, $message) = @$case;
    my $s = bundle_scenario(compress => $text, block => "2:5/* - -\n");
    my $r = $s->run(script => 'out(1)');
    if ($message) { is($r->code, 1, "stopped"); like($r->err, $message, 'by ' . $text =~ s/\n/, /gr) } else { $r->ended_well }
}

# Real packers, as the example has them: mail, packet, bundle, flow file; the other side; mail again.
my $example = do { open my $f, '<', "$ENV{QUELMO_SOURCE}/examples/compress.cfg" or die; local $/; <$f> };
$example =~ s{/usr/local/bin/tar-pack}{$ENV{QUELMO_SOURCE}/examples/packers/tar-pack}g;
for my $definition ($example =~ /^(Archiver.*?^End Archiver\n)/msg) {
    my ($name) = $definition =~ /^Archiver (\S+)/;
    my @programs = ($definition =~ m{(/usr/bin/\S+)}g, $name eq 'TZST' ? '/usr/bin/zstd' : ());
    if (my ($missing) = grep { !-x } @programs) { pass("$name: $missing isn't here"); next }
    my $s = scenario(areas => {NETMAIL => [map { +{text => "\x01INTL 2:5/6 2:999/1\rtext $_\r\x80\xff body\r$OURS", dest => '5/6'} } 1 .. 3], BACK => []},
        config => "COMPRESSFILE compress.cfg\nDATA ADDRESSPACKER PACK\n*:*/* $name -\n#END#\nPKTAREA pkts PKTS\nPKTAREA in IN\nBINKAREA out OUT\n");
    $s->spew('compress.cfg', $definition);
    mkdir $s->path($_) for qw(pkts in out);
    my $r = $s->run(script => q{
        Scan('NETMAIL'); while (ReadMsg()) { CopyArea('PKTS'); PackPKT('PKTS', 'OUT', 'PACK') }
        for my $bundle (glob 'out/*.*0') { rename $bundle, $bundle =~ s/out/in/r }
        Unpack('@path in'); Scan('IN'); while (ReadMsg()) { Move('BACK') }
    });
    $r->ended_well("$name: round trip") || diag $r->out;
    diag explain $r if !$s->msg('BACK', 1);
    my $body = sub { my ($dir) = @_; return [map { $s->msg($dir, $_)->{body} =~ s/\x01Via .*//sr } 1 .. 3] };
    is_deeply($body->('BACK'), $body->('NETMAIL'), "$name: every message is back, byte for byte");
    is_deeply([$s->files('in'), $s->files('pkts')], [], "$name: nothing is left on the way");
}
done_testing;
