# Nodelists as scripts see them: look-ups, records, routing by hub and region, lists that change during a run.
use strict;
use warnings;
use Quelmo::Test;

my $LIST = join "\r\n", ';A comment', 'Zone,2,Z_Two,C,Z_Sysop,1,300', 'Region,50,R,C,S,1,300', 'Host,999,N,C,S,1,300', ',100,Our_Node,A_City,Ann_Other,1,300,CM',
    'Hub,200,Hub_One,B_City,Hub_Sysop,1,300', ',201,Below_Hub,C,S,1,300', 'Down,202,D,C,S,1,300', 'Host,998,N,C,S,1,300', ',1,Other,C,S,1,300', '';
my $BLOCKS = "DATA NODELIST N\nndx nodelist LIST.???\n#END#\nDATA VERSION9 V\nv9 nodelist LIST.???\n#END#\n";

sub listed {
    my (%o) = @_;
    my $s = scenario(areas => {NETMAIL => [{text => "Hi\r"}], OUT => []}, config => ($o{config} // '') . $BLOCKS, script => $o{script});
    mkdir $s->path('nodelist');
    $s->spew('nodelist/LIST.001', $o{list} // $LIST);
    return $s;
}

{
    my $s = listed(script => q{
        out(map { GetUplink($_) } '2:999/201.3', '2:999/200', '2:999/100', '2:999/202', '2:999/7', '%OWN%');
        out(GetNodelistRecord(0, '2:999/100'));
        out(GetNodelistRecord(3, '2:999/200'));
        out(GetNodelistRecord(20, '2:999/100', 'n'));
        out(scalar(my @none = GetNodelistRecord(2, '2:999/202')), scalar(@none = GetNodelistRecord(2, '2:999/100', 'V')));
        out(GetNodelistBlock());
        out(GetNodelistBlock('v'), GetNodelistBlock('none'));
        ActiveNodelist('-V');
        out(map { GetUplink($_) } '2:999/202', '2:999/201');
        ActiveNodelist('V');
        out(map { GetUplink($_) } '2:999/202', '2:999/201');
        ActiveNodelist('-V +N');
        ActiveNodelist('+v');
        out(GetUplink('2:999/202'), scalar SetFboxPath('x'), scalar SetFboxPath());
    });
    my $r = $s->run(env => {OWN => '2:998/1'});
    $r->ended_well;
    is_deeply($r->said, [
        ['2:999/200', '2:999/200', '2:999/0', '2:999/200', undef, '2:998/0'],
        [',100,Our_Node,A_City,Ann_Other,1,300,CM'],
        ['Hub', '200', 'Hub One,B City,Hub Sysop,1,300'],
        ['100', 'Our Node', 'A_City', 'Ann Other', '1', '300', 'CM'],
        [0, 0],
        ['ndx 0 0 nodelist/ LIST.001', 'v9 65535 65535 nodelist/ LIST.001'],
        ['v9 65535 65535 nodelist/ LIST.001', undef],
        [undef, '2:999/200'],
        ['2:999/200', '2:999/200'],
        ['2:999/200', undef, undef],
    ], 'look-ups');
}

{    # Routes by hub and region, and addresses in tests.
    my $routes = "DATA ROUTING R\nCRASH 2:999/200 2:999/200.#\n2:1/1 2:50/#.*\n*:*/#.* *:998/*.*\n2:9/9 *:*/*.*\n#END#\n";
    my $s = listed(config => $routes, script => q{
        for my $to ('2:999/201.4', '2:999/200', '2:999/100', '2:998/1.7', '2:999/55', '3:4/5') {
            CreateMail('OUT', "\@$to X");
        }
        Scan('OUT');
        while (ReadMsg()) {
            SetRouting('R');
            out(GetRouting(), map { SelectTo($_) } '@ADDRESS 2:999/200.#', '@ADDRESS 2:50/#', 'N', 'V');
        }
    });
    my $r = $s->run;
    $r->ended_well;
    is_deeply($r->said, [
        ['2:999/200', 1, 0, 1, 1], ['2:999/200', 1, 0, 1, 1], ['2:1/1', 0, 0, 1, 1], ['2:1/1', 0, 0, 1, 1], ['2:9/9', 0, 0, 0, 0], ['2:9/9', 0, 0, 0, 0],
    ], 'routes');
}

{    # A newer list takes effect at the next start, or by a rebuild; another program's rebuild is noticed.
    my $s = listed(script => q{
        out(GetUplink('2:999/201'));
        rename 'nodelist/new', 'nodelist/LIST.002' or die;
        utime 2_000_000_000, 2_000_000_000, 'nodelist/LIST.002';
        out(GetUplink('2:999/201'));
        NdlReBuild('V');
        out(GetUplink('2:999/201'));
        ActiveNodelist('N'); out(GetUplink('2:999/201'), GetNodelistRecord(0, '2:999/201'));
    });
    $s->spew('nodelist/new', $LIST =~ s/Hub,200/Hub,300/r);
    my $r = $s->run;
    $r->ended_well;
    is_deeply($r->said, [['2:999/200'], ['2:999/200'], ['2:999/300'], ['2:999/200', ',201,Below_Hub,C,S,1,300']], 'a newer list');
    $s->run(script => q{ActiveNodelist('N'); out(GetUplink('2:999/201'))})->ended_well;
    is_deeply($s->run(script => q{ActiveNodelist('N'); out(GetUplink('2:999/201'))})->said, [['2:999/300']], 'at the next start');
}

# Faults of scripts and of configurations.
for my $fault (
    [q{GetUplink('2:999')}, qr/perl_GetUplink incorrect address : `2:999'/], [q{GetNodelistRecord(1, 'x')}, qr/incorrect address : `x'/],
    [q{GetNodelistRecord(1)}, qr/argument count/], [q{ActiveNodelist('')}, qr/syntax `'/], [q{ActiveNodelist('X')}, qr/nodelist or v9 block undefined : `X'/],
    [q{ActiveNodelist('N ' x 21)}, qr/syntax `N N/], [q{unlink 'nodelist/LIST.001'; NdlReBuild()}, qr/nodelist file template not found: `LIST/],
    [q{unlink 'nodelist/nodeidx.ndx'; ActiveNodelist('N'); GetUplink('2:999/1')}, qr/failed\./],
) {
    my ($script, $message) = @$fault;
    my $s = listed(script => "Scan('NETMAIL'); ReadMsg(); $script; out('too far')");
    my $r = $s->run(env => {QUELMO_STDERR => '-'});
    is($r->code, 1, $script);
    like($r->err, $message, 'the message');
    like($s->msg('NETMAIL', 1)->{text}, qr/Via/, 'the pending message is saved');
}
{
    my $s = scenario(areas => {NETMAIL => [{text => "Hi\r"}]}, config => "DATA NODELIST N\nndx . nothing.???\n#END#\n", script => q{out(1)});
    my $r = $s->run;
    is($r->code, 1);
    like($r->err, qr/nodelist file\(s\) template not found: `nothing/, 'a template that fits nothing');
}
done_testing;
