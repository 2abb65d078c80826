// Packets of eight bytes go from a sender through a queue to a receiver that rests now and then. The
// ninth byte of each packet is the sum of the others; the receiver adds up what it gets and compares.

`timescale 1ns / 1ns

module bench;
    reg clk = 0;
    reg rst = 1;
    always #5 clk = ~clk;

    // Pauses of both sides, the same in every run.
    reg [15:0] noise = 16'hace1;
    always @(posedge clk)
        noise <= {noise[14:0], noise[15] ^ noise[13] ^ noise[12] ^ noise[10]};

    // The sender: a byte goes when it has one and the queue takes it.
    reg        sending = 0;
    reg  [7:0] byte_out = 8'h11;
    reg  [3:0] place_out = 0;
    reg  [7:0] sum_out = 0;
    wire       ready;
    wire       push = sending && ready;
    wire [7:0] sent = place_out == 8 ? sum_out : byte_out;
    always @(posedge clk)
        if (rst)
            sending <= 0;
        else begin
            sending <= noise[1:0] != 0;
            if (push) begin
                byte_out  <= byte_out + 8'h1d;
                place_out <= place_out == 8 ? 0 : place_out + 1;
                sum_out   <= place_out == 8 ? 0 : sum_out + byte_out;
            end
        end

    // The receiver: quick at first, slow from 2 us on.
    reg        awake = 0;
    wire       valid;
    wire       pop = awake && valid;
    wire [7:0] received;
    always @(posedge clk)
        awake <= !rst && ($time < 2000 || noise[6:4] < 4);

    queue dut (
        .clk(clk), .rst(rst),
        .push(push), .push_data(sent), .ready(ready),
        .pop(pop), .pop_data(received), .valid(valid)
    );

    reg [3:0] place_in = 0;
    reg [7:0] sum_in = 0;
    integer   packet = 0;
    reg       failed = 0;
    always @(posedge clk)
        if (pop) begin
            if (place_in == 8) begin
                if (received != sum_in && !failed) begin
                    $display("FAILED at %0d ns: packet %0d has sum %h, its bytes add up to %h",
                             $time, packet, received, sum_in);
                    failed <= 1;
                end
                packet   <= packet + 1;
                place_in <= 0;
                sum_in   <= 0;
            end else begin
                place_in <= place_in + 1;
                sum_in   <= sum_in + received;
            end
        end

    initial begin
        #22 rst = 0;
        #6000;
        if (!failed) $display("passed: %0d packets", packet);
        $finish;
    end
endmodule
